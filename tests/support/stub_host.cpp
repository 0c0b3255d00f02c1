#include "support/stub_host.h"

#include <utility>

#include "engine/exchange/frame.h"
#include "quarnex/event_report.h"

namespace quarnex::test {

constexpr bool isInJournal(Operation operation) {
  using enum Operation;
  return (operation >= Close && operation <= Listen) || operation == Attach || operation == Send ||
         operation == SetPeriod;
}

// A failing close takes effect, too.
void StubSocket::begin(const ServiceCall& call) {
  if (call.operation == Operation::Close) inner->close();
  if (call.operation == Operation::Fetch) inner->received.clear();
  if (call.operation == Operation::RemoteHost && call.socket.array == SocketArray::SrvAccept)
    inner->settings.remoteHost = "127.0.0.1";
  if (call.operation == Operation::BytesWaiting) inner->reportedBytes = incoming.empty() ? 0 : 1;
  host_.intercept(call);
  if (call.operation != Operation::Fetch) return;
  inner->waiting = std::move(incoming.front());
  incoming.pop_front();
}

StubHost::StubHost() : Interceptor(plain.all()), library(services()), quarn(library) {
  time = Instant{1'794'991'161};
  library.observer = this;
  quarn.Init("");
}

void StubHost::connect(std::int16_t index) {
  tickAfter(11);  // the link calls or listens
  if (record(index).ConnessioneClient) {
    events().onConnect(SocketArray::ClientSocket, record(index).IdxClient, 0);
  } else {
    events().onAccept(SocketArray::ServerSocket, record(index).IdxServer, 9, 0);
  }
  tickAfter(0);
  happened();
  inbound(index);
}

void StubHost::receive(std::int16_t index, std::string_view message) {
  std::string frame;
  makeFrame(frame, message);
  carrier(index).incoming.push_back(frame);
  tickAfter(0);
}

std::vector<std::string> StubHost::inbound(std::int16_t index) {
  std::vector<std::string> items;
  while (quarn.MessaggioArrivato(index)) {
    const bool isReport = quarn.reportWaits(index);
    std::string item = quarn.GetMessaggioArrivato(index);
    if (isReport) {
      const EventReport report = parseEventReport(item).value();
      item = std::to_string(report.code) + (report.detail.empty() ? "" : " " + report.detail);
    }
    items.push_back(std::move(item));
  }
  return items;
}

void StubHost::intercept(const ServiceCall& call) {
  std::function<void()> event;
  {
    const StubAtWork work;
    const std::string socket = shapeOf(call.operation).onSocket ? ' ' + nameFor(call.socket) : "";
    const std::string key = std::string(nameOf(call.operation)) + socket;
    if (isInJournal(call.operation))
      journal.push_back(call.operation == Operation::Send ? "send " + std::string(call.text()) : key);
    if (auto found = inside.extract(key)) event = std::move(found.mapped());
    if (const auto found = failing.find(key); found != failing.end()) throw found->second;
    if (call.operation == Operation::CreateLog) logName = call.text();
    if (call.operation == Operation::WriteLog) logText += call.text();
  }
  if (event) event();
}

}  // namespace quarnex::test
