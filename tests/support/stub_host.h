// A host whose services do what the test says: a clock that stands, sockets that remember, operations that
// fail.
#pragma once

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/engine.h"
#include "quarnex/quarn_socket.h"
#include "services/observer.h"

namespace quarnex::test {

class StubHost;

/// While one lives it is the stub that asks for memory, not the engine.
struct StubAtWork {
  StubAtWork() { ++depth; }
  ~StubAtWork() { --depth; }
  static inline int depth = 0;
};

/// One socket: plain properties, and a journal line for each operation.
struct StubSocket final : SocketInstance {
  StubSocket(StubHost& owner, std::string ownName) : host(owner), name(std::move(ownName)) {}

  std::int32_t state() override;
  std::string statusText() override;
  std::int32_t localPort() override;
  void setLocalPort(std::int32_t port) override { local = port; }
  std::int32_t remotePort() override;
  void setRemotePort(std::int32_t port) override { remote = port; }
  void setLocalAddress(std::string_view) override {}
  std::string remoteHost() override;
  void setRemoteHost(std::string_view dotted) override { hostName = dotted; }
  void close() override;
  void prepareA() override;
  void prepareB() override;
  void connect() override;
  void listen() override;
  void attach(std::int32_t handle) override;
  std::int32_t bytesWaiting() override;
  void fetch() override;
  std::string_view receivedText() override;
  void send(std::string_view bytes) override;

  StubHost& host;
  std::string name;
  std::int32_t stateNow = kSocketClosed, local = 0, remote = 0;
  std::string hostName, received;
  std::deque<std::string> incoming;  // one text a fetch
};

/// The library under test with its services. Everything that happens is written into `journal`: operations as
/// "close ClientSocket", sent frames as "send " and the bytes, traces as they are.
class StubHost final : SocketService, TimerService, WallClock, TextFile, Observer {
 public:
  StubHost();

  ConnectionRecord& record(std::int16_t index) { return library.ConnectionTable[index]; }
  StubSocket& socket(std::string_view name) { return *sockets.at(std::string(name)); }
  SocketEvents& events() { return *socketEvents; }

  /// Lets `seconds` pass, then gives one tick.
  void tickAfter(std::int64_t seconds);
  /// Adds a link of type MIRTAN, identifier 5, over TCP, and opens it.
  std::int16_t addOpen(bool client);
  /// The same, connected: 701 reported, journal and inbound queue empty, exchange ready.
  std::int16_t addConnected(bool client);
  /// The same for a link that has been opened, or is to connect again.
  void connect(std::int16_t index);
  /// The given message as one frame for the link's socket, and one tick.
  void receive(std::int16_t index, std::string_view message);
  /// Takes out the whole inbound queue; of reports only code and detail: "701 127.0.0.1:20308".
  std::vector<std::string> inbound(std::int16_t index);
  /// What happened since the last call.
  std::vector<std::string> happened();

  // Journal line, and what is armed for the operation of that socket.
  void meet(const char* operation, const std::string& socket = "");
  void read(const char* property, const std::string& socket = "");  // without the line

  Instant time{1'794'991'161};
  std::map<std::string, Failure>
      failing;  // by "listen ServerSocket" or "state ClientSocket"; stays until removed
  std::map<std::string, std::function<void()>> inside;  // happens once, inside that operation
  std::map<std::string, StubSocket*> sockets;
  std::vector<std::string> journal;
  std::string logName, logText;

 private:
  std::unique_ptr<SocketInstance> create(SocketArray array, std::int16_t index, SocketEvents& sink) override;
  void setEvents(TimerEvents* sink) override { timerEvents = sink; }
  std::int16_t period() override { return periodNow; }
  void setPeriod(std::int16_t milliseconds) override;
  Instant now() override {
    read("now");
    return time;
  }
  std::int32_t utcOffset(Instant) override { return 0; }
  void create(const std::string& name) override;
  void write(std::string_view line) override {
    const StubAtWork work;
    logText += line;
  }
  void close() override {}
  void traced(std::int16_t IdxQuarn, std::string_view text) override;

  SocketEvents* socketEvents = nullptr;
  TimerEvents* timerEvents = nullptr;
  std::int16_t periodNow = 0;

 public:
  // Last, so that the services are still there when the library closes its sockets.
  Engine library;
  QuarnSocket quarn;
};

}  // namespace quarnex::test
