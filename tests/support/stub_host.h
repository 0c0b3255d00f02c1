// A host whose services a test controls: the clock moves on command, sockets keep what they are given, and
// chosen operations fail.
#pragma once

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/engine.h"
#include "quarnex/quarn_socket.h"
#include "services/interceptor.h"
#include "services/observer.h"
#include "services/plain_services.h"

namespace quarnex::test {

class StubHost;

/// While one exists, memory is allocated by the stub, not by the engine.
struct StubAtWork {
  StubAtWork() { ++depth; }
  ~StubAtWork() { --depth; }
  static inline int depth = 0;
};

/// One socket: plain properties, and the remote host 127.0.0.1 once it is attached.
class StubSocket {
 public:
  explicit StubSocket(StubHost& owner) : host_(owner) {}

  template <class Operate>
  auto around(const ServiceCall& call, const Operate& operate) {
    begin(call);
    return operate(*inner);
  }

  std::unique_ptr<PlainSocket> inner;
  std::deque<std::string> incoming;  // one text a fetch

 private:
  void begin(const ServiceCall& call);

  StubHost& host_;
};

struct StubServices {
  PlainServices plain;
};

/// The library under test with its services. `journal` lists operations as "close ClientSocket", sent frames
/// as "send " and the bytes, and traces unchanged.
class StubHost final : StubServices, public Interceptor<StubHost, StubSocket>, Observer {
 public:
  StubHost();

  ConnectionRecord& record(std::int16_t index) { return library.ConnectionTable[index]; }
  StubSocket& socket(std::string_view name) { return *sockets.at(std::string(name)); }
  SocketEvents& events() { return *socketEvents(); }

  /// Lets `seconds` pass, then gives one tick.
  void tickAfter(std::int64_t seconds) {
    time.second += seconds;
    plain.tick();
  }
  /// Adds a link of type MIRTAN, identifier 5, over TCP, and opens it.
  std::int16_t addOpen(bool client) {
    const std::int16_t index = quarn.Add("MIRTAN", 5, client, true);
    quarn.Apri(index);
    happened();
    return index;
  }
  /// Adds, opens and connects a link: 701 reported, journal and inbound queue empty, exchange ready.
  std::int16_t addConnected(bool client) {
    const std::int16_t index = addOpen(client);
    connect(index);
    return index;
  }
  /// Connects an open link, for the first time or again.
  void connect(std::int16_t index);
  /// Puts a message, as one frame, into the link's socket and gives one tick.
  void receive(std::int16_t index, std::string_view message);
  /// Takes all items from the inbound queue; of reports only code and detail: "701 127.0.0.1:20308".
  std::vector<std::string> inbound(std::int16_t index);
  /// Takes the lines that were added to the journal since the last call.
  std::vector<std::string> happened() { return std::exchange(journal, {}); }
  /// The messages of the frames among them.
  std::vector<std::string> sent() {
    std::vector<std::string> messages;
    for (const std::string& line : happened())
      if (line.starts_with("I>9999")) messages.push_back(line.substr(6));
    return messages;
  }
  /// The socket that carries the connection of a link.
  StubSocket& carrier(std::int16_t index) {
    return socket(record(index).ConnessioneClient ? "ClientSocket" : "SrvAccept");
  }

  template <class Operate>
  auto around(const ServiceCall& call, const Operate& operate) {
    intercept(call);
    return operate();
  }
  std::unique_ptr<PlainSocket> makeInner(SocketId, SocketEvents&) { return std::make_unique<PlainSocket>(); }
  void created(SocketId id, StubSocket& socket) { sockets[nameFor(id)] = &socket; }
  /// Writes the call's journal line, if it has one, then the failure or action that the test has planned for
  /// it.
  void intercept(const ServiceCall& call);

  Instant& time = plain.time;
  // By operation: "listen ServerSocket". A failure stays until it is removed, an action happens once.
  std::map<std::string, Failure> failing;
  std::map<std::string, std::function<void()>> inside;
  std::map<std::string, StubSocket*> sockets;
  std::vector<std::string> journal;
  std::string logName, logText;

 private:
  using Interceptor::create;
  std::unique_ptr<SocketInstance> create(SocketArray array, std::int16_t index, SocketEvents& sink) override {
    const StubAtWork work;
    return Interceptor::create(array, index, sink);
  }
  // The array's name; later instances than the first carry their number.
  static std::string nameFor(SocketId id) {
    return std::string(nameOf(id.array)) + (id.index == 1 ? "" : std::to_string(id.index));
  }
  void traced(std::int16_t, std::string_view text) override {
    const StubAtWork work;
    journal.emplace_back(text);
  }

 public:
  // Last, so that the services are still there when the library closes its sockets.
  Engine library;
  QuarnSocket quarn;
};

constexpr bool kClient = true, kServer = false;

/// One event, tick or change of link 1, as a value for the tables of tests.
using Action = std::function<void(StubHost&)>;

inline void nothing(StubHost&) {}

/// Lets time pass, then gives one tick.
inline Action after(std::int64_t seconds) {
  return [=](StubHost& host) { host.tickAfter(seconds); };
}

inline Action connected() {
  return [](StubHost& host) { host.connect(1); };
}

inline Action callEnds(std::int16_t code) {
  return [=](StubHost& host) { host.events().onConnect(SocketArray::ClientSocket, 1, code); };
}

inline Action callerArrives(std::int16_t code) {
  return
      [=](StubHost& host) { host.events().onAccept(SocketArray::ServerSocket, 1, code == 0 ? 9 : 0, code); };
}

inline Action connectionEnds(std::int16_t code) {
  return [=](StubHost& host) {
    host.events().onClose(
        host.record(1).ConnessioneClient ? SocketArray::ClientSocket : SocketArray::SrvAccept, 1, code);
  };
}

inline Action received(std::string message) {
  return [message = std::move(message)](StubHost& host) { host.receive(1, message); };
}

inline Action failing(std::string operation, std::int32_t number, const std::string& description) {
  return [operation = std::move(operation), failure = Failure(number, description)](StubHost& host) {
    host.failing.insert({operation, failure});
  };
}

template <class... Actions>
Action sequence(Actions... actions) {
  return [=](StubHost& host) { (actions(host), ...); };
}

}  // namespace quarnex::test
