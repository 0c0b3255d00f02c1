#include "services/plain_services.h"

#include <utility>

namespace quarnex {

void PlainSocket::attach(std::int32_t) {
  become(kSocketConnected);
  settings.remoteHost.clear();
}

void PlainSocket::fetch() {
  received = std::exchange(waiting, {});
  reportedBytes.reset();
}

void PlainSocket::become(SocketState state) {
  settings.state = state;
  settings.statusText = statusTextOf(state);
}

void PlainSocket::follow(EventKind event, std::int16_t code) {
  if (event == EventKind::Close) become(kSocketClosed);
  if (event == EventKind::Connect) become(code == 0 ? kSocketConnected : kSocketClosed);
}

void PlainSocket::restore(Operation operation, Settings&& before) {
  switch (operation) {
    case Operation::SetLocalPort:
      settings.localPort = before.localPort;
      return;
    case Operation::SetRemotePort:
      settings.remotePort = before.remotePort;
      return;
    case Operation::SetRemoteHost:
      settings.remoteHost = std::move(before.remoteHost);
      return;
    case Operation::Attach:
      settings.remoteHost = std::move(before.remoteHost);
      [[fallthrough]];
    default:
      settings.state = before.state;
      settings.statusText = std::move(before.statusText);
  }
}

}  // namespace quarnex
