#include "support/stub_host.h"

#include <utility>

#include "engine/exchange/frame.h"
#include "quarnex/event_report.h"

namespace quarnex::test {

std::int32_t StubSocket::state() {
  host.read("state", name);
  return stateNow;
}
std::string StubSocket::statusText() {
  host.read("statusText", name);
  return stateNow == kSocketClosed ? "Closed" : "Open";
}
std::int32_t StubSocket::localPort() {
  host.read("localPort", name);
  return local;
}
std::int32_t StubSocket::remotePort() {
  host.read("remotePort", name);
  return remote;
}
std::string StubSocket::remoteHost() {
  host.read("remoteHost", name);
  return hostName;
}
void StubSocket::close() {
  stateNow = kSocketClosed;
  host.meet("close", name);
}
void StubSocket::prepareA() {
  host.meet("prepareA", name);
}
void StubSocket::prepareB() {
  host.meet("prepareB", name);
}
void StubSocket::connect() {
  host.meet("connect", name);
  stateNow = kSocketCalling;
}
void StubSocket::listen() {
  host.meet("listen", name);
  stateNow = kSocketListening;
}
void StubSocket::attach(std::int32_t) {
  host.meet("attach", name);
  stateNow = kSocketConnected;
  hostName = "127.0.0.1";
}
std::int32_t StubSocket::bytesWaiting() {
  host.read("bytesWaiting", name);
  return incoming.empty() ? 0 : 1;
}
void StubSocket::fetch() {
  received.clear();
  host.read("fetch", name);
  received = std::move(incoming.front());
  incoming.pop_front();
}
std::string_view StubSocket::receivedText() {
  return received;
}
void StubSocket::send(std::string_view bytes) {
  {
    const StubAtWork work;
    host.journal.push_back("send " + std::string(bytes));
  }
  host.read("send", name);
}

StubHost::StubHost() : library(Services{*this, *this, *this, *this}), quarn(library) {
  library.observer = this;
  quarn.Init("");
}

void StubHost::tickAfter(std::int64_t seconds) {
  time.second += seconds;
  timerEvents->onTick();
}

std::int16_t StubHost::addOpen(bool client) {
  const std::int16_t index = quarn.Add("MIRTAN", 5, client, true);
  quarn.Apri(index);
  happened();
  return index;
}

std::int16_t StubHost::addConnected(bool client) {
  const std::int16_t index = addOpen(client);
  connect(index);
  return index;
}

void StubHost::connect(std::int16_t index) {
  tickAfter(11);
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
  socket(record(index).ConnessioneClient ? "ClientSocket" : "SrvAccept").incoming.push_back(frame);
  tickAfter(0);
}

std::vector<std::string> StubHost::inbound(std::int16_t index) {
  std::vector<std::string> items;
  while (quarn.MessaggioArrivato(index)) {
    std::string item = quarn.GetMessaggioArrivato(index);
    if (const auto report = parseEventReport(item)) {
      item = std::to_string(report->code) + (report->detail.empty() ? "" : " " + report->detail);
    }
    items.push_back(std::move(item));
  }
  return items;
}

std::vector<std::string> StubHost::happened() {
  return std::exchange(journal, {});
}

void StubHost::meet(const char* operation, const std::string& socket) {
  {
    const StubAtWork work;
    journal.push_back(socket.empty() ? operation : operation + (" " + socket));
  }
  read(operation, socket);
}

void StubHost::read(const char* property, const std::string& socket) {
  std::function<void()> event;
  {
    const StubAtWork work;
    const std::string key = socket.empty() ? property : property + (" " + socket);
    if (auto found = inside.extract(key)) event = std::move(found.mapped());
    if (const auto found = failing.find(key); found != failing.end()) throw found->second;
  }
  if (event) event();
}

// The first instance of an array goes by the array's name, later ones carry their number.
std::unique_ptr<SocketInstance> StubHost::create(SocketArray array, std::int16_t index, SocketEvents& sink) {
  const StubAtWork work;
  socketEvents = &sink;
  const std::string name = std::string(nameOf(array)) + (index == 1 ? "" : std::to_string(index));
  read("create", name);
  auto made = std::make_unique<StubSocket>(*this, name);
  sockets[name] = made.get();
  return made;
}

void StubHost::setPeriod(std::int16_t milliseconds) {
  meet("setPeriod");
  periodNow = milliseconds;
}

void StubHost::create(const std::string& name) {
  read("createLog");
  const StubAtWork work;
  logName = name;
}

void StubHost::traced(std::int16_t, std::string_view text) {
  const StubAtWork work;
  journal.emplace_back(text);
}

}  // namespace quarnex::test
