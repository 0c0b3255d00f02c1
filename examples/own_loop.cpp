// The library in a poll(2) loop of the host's own, beside standard input: lines go in at one end of a link
// and come out at the other.
#include <poll.h>
#include <unistd.h>

#include <iostream>
#include <string>

#include "quarnex/host.h"

namespace {

using namespace std::chrono_literals;

/// Reads standard input once and sends its complete lines; returns false at the end of the input.
bool sendLines(quarnex::Link& link, std::string& pending) {
  char bytes[4096];
  const ssize_t count = read(STDIN_FILENO, bytes, sizeof bytes);
  if (count <= 0) return false;
  pending.append(bytes, static_cast<std::size_t>(count));
  for (std::size_t end = pending.find('\n'); end != std::string::npos; end = pending.find('\n')) {
    const quarnex::SendResult sent = link.send(pending.substr(0, end));
    if (!sent) std::cerr << "not sent: " << nameOf(sent.refusal) << ' ' << sent.check.warning << '\n';
    pending.erase(0, end + 1);
  }
  return true;
}

}  // namespace

int main() {
  quarnex::Host host;
  quarnex::Link server = host.listen("METEO", 8), client = host.call("METEO", 8);
  server.open();
  client.open();
  std::string pending;
  bool inputOpen = true;
  while (!host.readyToExit()) {
    // Input waits while the link is down, because the next attempt to connect may drop queued texts.
    const bool takesInput = inputOpen && client.connected();
    pollfd waited[] = {{host.fd(), POLLIN, 0}, {takesInput ? STDIN_FILENO : -1, POLLIN, 0}};
    poll(waited, 2, -1);
    if (waited[1].revents != 0 && !sendLines(client, pending)) {
      inputOpen = false;
      host.leave(1min);
    }
    if (waited[0].revents != 0) host.turn(0ms);
    while (const auto text = server.receive()) std::cout << *text << std::endl;
  }
}
