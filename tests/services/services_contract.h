// The contract suite of the services: its fixture, and the harness that each adapter or wrapper provides.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "services/services.h"
#include "support/failure_of.h"

namespace quarnex {

/// A caller from outside the adapter, connected to one of its listening instances.
class Peer {
 public:
  virtual ~Peer() = default;
  virtual void send(std::string_view bytes) = 0;
  /// Everything that has arrived since the last call.
  virtual std::string receive() = 0;
  /// True once it has received the other side's orderly close (or a reset), and everything before it.
  virtual bool ended() = 0;
  /// Closes in the orderly way, after what was sent.
  virtual void close() = 0;
  /// Breaks the connection so that the other side sees a reset.
  virtual void reset() = 0;
};

/// One adapter or wrapper under test, with its services and its way of letting time pass.
class Harness {
 public:
  virtual ~Harness() = default;
  virtual Services services() = 0;
  /// Turns the loop until `holds` returns true; returns false after 20 seconds.
  virtual bool runUntil(const std::function<bool()>& holds) = 0;
  /// Lets `pause` pass without a turn of the loop, then turns it once.
  virtual void stall(std::chrono::milliseconds pause) = 0;
  /// Sets the system's clock forward, or back if negative. False if the adapter is not one for a real system;
  /// the clock of any other may go back.
  virtual bool setSystemClock(std::chrono::seconds by) = 0;
  /// A folder in which files can be created.
  virtual std::string folder() = 0;
  /// The content of a file that the text file has created.
  virtual std::string contentOf(const std::string& name) = 0;
  /// A port on which nobody listens.
  virtual std::int32_t freePort() = 0;
  /// Calls a port of the local host; the connection need not be accepted yet.
  virtual std::unique_ptr<Peer> call(std::int32_t port) = 0;
  /// The code that the system reports for a reset that it has received.
  virtual int resetCode() { return 10054; }
  /// Listens on a free port, lets `call` call that, and answers.
  virtual std::unique_ptr<Peer> answer(const std::function<void(std::int32_t port)>& call) = 0;
};

constexpr std::int16_t kShortTickMilliseconds = 2;

using HarnessFactory = std::unique_ptr<Harness> (*)();

/// An adapter or wrapper joins with INSTANTIATE_TEST_SUITE_P in a test file of its own.
/// The fixture replaces the engine: it lists every event as "ClientSocket 1 Close 10054" and attaches each
/// caller of ServerSocket k to SrvAccept k, unless the test sets `onCaller`.
class ServicesContract : public testing::TestWithParam<HarnessFactory>,
                         protected SocketEvents,
                         protected TimerEvents {
 protected:
  void SetUp() override {
    harness = GetParam()();
    timer().setEvents(this);
    timer().setPeriod(kShortTickMilliseconds);
  }
  void TearDown() override {
    instances_.clear();
    timer().setEvents(nullptr);
  }

  /// Creates the instance on first use.
  SocketInstance& socket(SocketArray array, std::int16_t index) {
    auto& instance = instances_[{array, index}];
    if (instance == nullptr) instance = harness->services().sockets.create(array, index, *this);
    return *instance;
  }
  SocketInstance& client(std::int16_t index = 1) { return socket(SocketArray::ClientSocket, index); }
  SocketInstance& server(std::int16_t index = 1) { return socket(SocketArray::ServerSocket, index); }
  SocketInstance& accepted(std::int16_t index = 1) { return socket(SocketArray::SrvAccept, index); }

  void forget(SocketArray array, std::int16_t index = 1) { instances_.erase({array, index}); }

  void listenOn(std::int32_t port, std::int16_t index = 1) {
    accepted(index);
    server(index).setLocalPort(port);
    server(index).listen();
  }
  void callTo(std::int32_t port, std::int16_t index = 1) {
    client(index).setRemoteHost("127.0.0.1");
    client(index).setRemotePort(port);
    client(index).connect();
  }
  /// Connects client `index` with the accepted instance of the same number and forgets the events of that.
  void join(std::int16_t index = 1) {
    const std::int32_t port = harness->freePort();
    listenOn(port, index);
    callTo(port, index);
    ASSERT_TRUE(runUntil([&] { return events.size() == 2; }));
    ASSERT_EQ(client(index).state(), kSocketConnected);
    ASSERT_EQ(accepted(index).state(), kSocketConnected);
    events.clear();
  }
  /// Listens, and lets a peer call. `joinPeer` connects it with the accepted instance 1 as `join` does.
  std::unique_ptr<Peer> callPeer() {
    listenOn(harness->freePort());
    return harness->call(server().localPort());
  }
  std::unique_ptr<Peer> joinPeer() {
    auto peer = callPeer();
    EXPECT_TRUE(seen("ServerSocket 1 Accept 0"));
    events.clear();
    return peer;
  }

  bool runUntil(const std::function<bool()>& holds) { return harness->runUntil(holds); }
  void runTicks(int count) {
    const int last = ticks + count;
    EXPECT_TRUE(runUntil([&] { return ticks >= last; }));
  }
  /// Fetches and returns the waiting bytes.
  static std::string take(SocketInstance& instance) {
    if (instance.bytesWaiting() == 0) return {};
    instance.fetch();
    return std::string(instance.receivedText());
  }
  /// Runs until `instance` has received `size` bytes, fetching once a tick as the engine does.
  std::string takeAll(SocketInstance& instance, std::size_t size) {
    std::string all;
    atTick = [&] { all += take(instance); };
    EXPECT_TRUE(runUntil([&] { return all.size() >= size; }));
    atTick = nullptr;
    return all;
  }
  /// Runs until `events` contains `event`; returns false after 20 seconds.
  bool seen(const std::string& event) {
    return runUntil([&] { return std::count(events.begin(), events.end(), event) > 0; });
  }

  TimerService& timer() { return harness->services().timer; }

  std::unique_ptr<Harness> harness;
  std::vector<std::string> events;                    // in their order
  std::function<void(const std::string&)> onEvent;    // runs inside each event
  std::function<void(std::int32_t handle)> onCaller;  // in place of the attach to SrvAccept
  std::function<void()> atTick;                       // runs inside each tick
  int ticks = 0;

 private:
  void note(SocketArray array, std::int16_t index, std::string_view what, std::int16_t code) {
    events.push_back(std::string(nameOf(array)) + ' ' + std::to_string(index) + ' ' + std::string(what) +
                     ' ' + std::to_string(code));
    if (const auto hook = onEvent) hook(events.back());  // a copy, because it may replace itself
  }
  void onConnect(SocketArray array, std::int16_t index, std::int16_t code) override {
    note(array, index, "Connect", code);
  }
  void onClose(SocketArray array, std::int16_t index, std::int16_t code) override {
    EXPECT_EQ(socket(array, index).state(), kSocketClosed);
    note(array, index, "Close", code);
  }
  void onReceive(SocketArray array, std::int16_t index, std::int16_t code) override {
    if (code != 0) note(array, index, "Receive", code);
  }
  void onAccept(SocketArray array, std::int16_t index, std::int32_t handle, std::int16_t code) override {
    EXPECT_TRUE(code == 0 || handle == 0);
    if (onCaller) {
      onCaller(handle);
    } else if (code == 0) {
      accepted(index).attach(handle);
    }
    note(array, index, "Accept", code);
  }
  void onTick() override {
    ++ticks;
    if (atTick) atTick();
  }

  std::map<std::pair<SocketArray, std::int16_t>, std::unique_ptr<SocketInstance>> instances_;
};

}  // namespace quarnex
