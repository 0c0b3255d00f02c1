// Tests the socket services of every adapter and wrapper.
#include <gmock/gmock.h>

#include <algorithm>
#include <numeric>

#include "services/services_contract.h"

namespace quarnex {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::size_t kMoreThanASystemTakes = std::size_t{16} * 1024 * 1024;

// Bytes that depend on their position, so that a lost or moved one is detected.
std::string pattern(std::size_t size) {
  std::string bytes(size, '\0');
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>((i * 7 + i / 251) & 0xFF);
  return bytes;
}

}  // namespace

TEST_P(ServicesContract, ANewInstanceIsClosedAndEmpty) {
  EXPECT_EQ(client().state(), 0);
  EXPECT_EQ(client().statusText(), "Closed");
  EXPECT_EQ(client().localPort() + client().remotePort() + client().bytesWaiting(), 0);
  EXPECT_EQ(client().remoteHost(), "");
  EXPECT_EQ(client().receivedText(), "");
  for (int i = 0; i < 2; ++i) EXPECT_EQ(failureOf([&] { client().close(); }), 0);
  EXPECT_EQ(failureOf([&] { client().send("x"); }), 10057);
}

TEST_P(ServicesContract, OutcomesArriveInALaterTurn) {
  const std::int32_t port = harness->freePort();
  listenOn(port);
  callTo(port);
  EXPECT_THAT(events, IsEmpty());
  EXPECT_EQ(server().state(), 2);
  EXPECT_EQ(server().statusText(), "Listening");
  EXPECT_EQ(client().state(), 3);
  EXPECT_EQ(client().statusText(), "Calling");
  EXPECT_TRUE(seen("ClientSocket 1 Connect 0"));
  EXPECT_TRUE(seen("ServerSocket 1 Accept 0"));
  EXPECT_EQ(events.size(), 2U);
  for (SocketInstance* end : {&client(), &accepted()}) {
    EXPECT_EQ(end->state(), 4);
    EXPECT_EQ(end->statusText(), "Connected");
    EXPECT_EQ(end->remoteHost(), "127.0.0.1");
    end->close();
    EXPECT_EQ(end->remoteHost(), "127.0.0.1");
  }
  EXPECT_EQ(server().state(), 2);
  EXPECT_EQ(server().localPort(), port);
  EXPECT_EQ(client().remotePort(), port);
}

TEST_P(ServicesContract, ARefusedCallIsAnEvent) {
  onEvent = [&](const std::string&) { EXPECT_EQ(client().state(), kSocketClosed); };
  callTo(harness->freePort());
  EXPECT_TRUE(seen("ClientSocket 1 Connect 10061"));
  EXPECT_EQ(client().remoteHost(), "127.0.0.1");
}

TEST_P(ServicesContract, InvalidPortsAndAddressesFail) {
  for (const std::int32_t port : {-1, 0, 65536, 85538}) {
    SCOPED_TRACE(port);
    EXPECT_EQ(failureOf([&] { listenOn(port); }), 10049);
    EXPECT_EQ(failureOf([&] { callTo(port); }), 10049);
  }
  for (const char* address : {"", "localhost", "1.2.3", "1.2.3.4.5", "1.2.3.256", "1.2.3.4 ", "::1"}) {
    SCOPED_TRACE(address);
    client().setRemotePort(harness->freePort());
    client().setRemoteHost(address);
    EXPECT_EQ(failureOf([&] { client().connect(); }), 10049);
    server().setLocalAddress(address);
    EXPECT_EQ(failureOf([&] { listenOn(harness->freePort()); }), *address == '\0' ? 0 : 10049);
    server().close();
  }
  EXPECT_EQ(server().state() + client().state(), 0);
  for (const std::int32_t port : {1, 65535}) {
    callTo(port);
    client().close();
  }
}

TEST_P(ServicesContract, OperationsInTheWrongStateFail) {
  join();
  EXPECT_EQ(failureOf([&] { client().connect(); }), 10056);
  EXPECT_EQ(failureOf([&] { accepted().listen(); }), 10056);
  EXPECT_EQ(failureOf([&] { server().connect(); }), 10022);
  EXPECT_EQ(failureOf([&] { server().send("x"); }), 10057);
  EXPECT_EQ(failureOf([&] { server().fetch(); }), 10057);
  EXPECT_EQ(client().state() + accepted().state() + server().state(), 4 + 4 + 2);
}

TEST_P(ServicesContract, APortInUseIsFreeRightAfterItsListenerAndConnectionWereClosed) {
  const std::int32_t port = harness->freePort();
  listenOn(port, 1);
  callTo(port);
  EXPECT_EQ(failureOf([&] { server(1).listen(); }), 0);
  EXPECT_EQ(failureOf([&] { listenOn(port, 2); }), 10048);
  EXPECT_EQ(server(2).state(), kSocketClosed);
  EXPECT_TRUE(seen("ServerSocket 1 Accept 0"));
  runTicks(3);
  EXPECT_EQ(events.size(), 2U);
  accepted().close();
  server(1).close();
  client().close();
  EXPECT_EQ(failureOf([&] { listenOn(port, 2); }), 0);
  callTo(port);
  EXPECT_TRUE(seen("ServerSocket 2 Accept 0"));
}

TEST_P(ServicesContract, EveryByteTravelsUnchanged) {
  join();
  std::string all(256, '\0');
  std::iota(all.begin(), all.end(), '\0');
  for (const auto& [from, to] : {std::pair{&client(), &accepted()}, std::pair{&accepted(), &client()}}) {
    for (const std::size_t cut : {std::size_t{0}, std::size_t{3}}) from->send(all.substr(cut));
    EXPECT_EQ(takeAll(*to, 509), all + all.substr(3));
    EXPECT_EQ(to->bytesWaiting(), 0);
    to->fetch();
    EXPECT_EQ(to->receivedText(), "");
  }
}

TEST_P(ServicesContract, SendingNeverBlocksAndKeepsTheOrder) {
  join(1);
  join(2);
  std::string sent = pattern(kMoreThanASystemTakes);
  client(1).send(sent);
  client(2).send("neighbour");
  std::string received;
  std::string neighbour;
  int neighbourTicks = 0;
  atTick = [&] {
    const std::string piece = take(accepted(1));
    EXPECT_LE(piece.size(), kFetchBytesMax);
    received += piece;
    if (received.size() < kMoreThanASystemTakes / 2) {  // there is room again, but not for what comes later
      sent += '!';
      client(1).send("!");
    }
    neighbour += take(accepted(2));
    if (neighbour.empty()) ++neighbourTicks;
  };
  EXPECT_TRUE(runUntil([&] { return received.size() >= sent.size(); }));
  EXPECT_TRUE(received == sent);
  EXPECT_EQ(neighbour, "neighbour");
  EXPECT_LE(neighbourTicks, 5);
}

// The first send may leave more than the limit behind: it is one frame.
TEST_P(ServicesContract, OutputBeyondItsLimitsIsRefused) {
  join(1);
  join(2);
  constexpr std::size_t kFrame = kMoreThanASystemTakes;
  const auto sends = [&](std::int16_t index, std::size_t bytes) {
    return failureOf([&] { client(index).send(std::string(bytes, 'x')); });
  };
  SocketService& sockets = harness->services().sockets;
  sockets.limitOutput(1000, 4 * kFrame);
  EXPECT_EQ(sends(1, kFrame), 0);
  const std::size_t unsent = client(1).unsentBytes();
  EXPECT_GT(unsent, kFrame / 2);
  EXPECT_EQ(sends(1, 1), 10055);
  EXPECT_EQ(client(1).unsentBytes(), unsent);
  EXPECT_EQ(sends(2, 100), 0);
  sockets.limitOutput(kFrame, unsent + 1000);
  EXPECT_EQ(sends(2, kFrame), 10055);
  client(1).close();
  EXPECT_EQ(client(1).unsentBytes(), 0U);
  callTo(server(1).localPort(), 3);
  EXPECT_TRUE(seen("ClientSocket 3 Connect 0"));
  sockets.limitOutput(kFrame, 4 * kFrame);
  EXPECT_EQ(sends(3, kFrame), 0);
}

TEST_P(ServicesContract, AnOrderlyCloseComesAfterEveryByteBeforeItWhateverIsUnread) {
  join();
  accepted().send("never fetched");
  runTicks(3);
  const std::string text = pattern(kFetchBytesMax + 5000);
  client().send(text);
  client().close();
  runTicks(3);
  EXPECT_THAT(events, IsEmpty());
  EXPECT_EQ(takeAll(accepted(), text.size()), text);
  EXPECT_TRUE(seen("SrvAccept 1 Close 0"));
  EXPECT_EQ(accepted().bytesWaiting(), 0);
  runTicks(3);
  EXPECT_EQ(events.size(), 1U);
}

TEST_P(ServicesContract, HangingUpEndsTheConnectionForBothEnds) {
  client().hangUp();
  join();
  client().hangUp();
  EXPECT_TRUE(seen("ClientSocket 1 Close 0"));
  EXPECT_TRUE(seen("SrvAccept 1 Close 0"));
}

TEST_P(ServicesContract, AResetIsReportedAtOnce) {
  if (harness->resetCode() == 0) GTEST_SKIP() << "this system reports a reset as an orderly close";
  const auto peer = callPeer();
  peer->send("unread");
  EXPECT_TRUE(runUntil([&] { return accepted().bytesWaiting() > 0; }));
  peer->reset();
  EXPECT_TRUE(seen("SrvAccept 1 Close 10054"));
}

TEST_P(ServicesContract, AConnectionFoundBrokenIsReportedOnce) {
  for (const bool bySending : {true, false}) {
    const auto peer = joinPeer();
    peer->reset();
    for (int i = 0; i < 2; ++i) bySending ? accepted().send("into the void") : accepted().fetch();
    EXPECT_THAT(events, IsEmpty());
    EXPECT_TRUE(seen("SrvAccept 1 Close " + std::to_string(bySending ? 10054 : harness->resetCode())));
    runTicks(3);
    EXPECT_EQ(events.size(), 1U);
    EXPECT_EQ(failureOf([&] { accepted().send("x"); }), 10057);
    server().close();
  }
}

TEST_P(ServicesContract, OwnClosesRaiseNoEventAndDropPendingEvents) {
  const struct {
    const char* name;
    bool peerCloses, calls, refused;
  } rows[] = {{"an own connection", false, false, false},
              {"a call under way", false, true, false},
              {"a refused call", false, true, true},
              {"the peer's close", true, false, false}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    join();
    if (row.peerCloses) accepted().close();
    client().close();
    if (row.calls) callTo(row.refused ? harness->freePort() : server().localPort());
    client().close();
    runTicks(4);
    for (const std::string& event : events) EXPECT_THAT(event, testing::Not(testing::StartsWith("Client")));
    accepted().close();
    server().close();
    events.clear();
  }
  const auto caller = callPeer();
  server().close();
  runTicks(4);
  EXPECT_THAT(events, IsEmpty());
}

// The first event closes a descriptor whose close event is due; the system gives its number to the caller.
TEST_P(ServicesContract, ACallerGetsNoEventOfTheFormerOwnerOfItsDescriptor) {
  join(1);
  join(2);
  accepted(2).close();
  const auto caller = harness->call(server(1).localPort());
  accepted(1).close();
  onEvent = [&](const std::string& event) {
    if (event == "ClientSocket 2 Close 0") client(1).close();
  };
  EXPECT_TRUE(seen("ServerSocket 1 Accept 0"));
  runTicks(3);
  EXPECT_EQ(accepted(1).state(), kSocketConnected);
}

TEST_P(ServicesContract, ANewConnectionIsNotBrokenLikeThePreviousOne) {
  const auto broken = joinPeer();
  broken->reset();
  accepted().send("into the void");
  const auto healthy = harness->call(server().localPort());
  EXPECT_TRUE(seen("ServerSocket 1 Accept 0"));
  healthy->close();
  EXPECT_TRUE(seen("SrvAccept 1 Close 0"));
}

TEST_P(ServicesContract, TheNewestCallerReplacesTheOlderWithoutAnEvent) {
  const auto older = callPeer();
  const auto newer = harness->call(server().localPort());
  EXPECT_TRUE(runUntil([&] { return older->ended(); }));
  EXPECT_THAT(events, ElementsAre("ServerSocket 1 Accept 0", "ServerSocket 1 Accept 0"));
  newer->send("hello");
  EXPECT_EQ(takeAll(accepted(), 5), "hello");
  accepted().send("welcome");
  std::string answer;
  EXPECT_TRUE(runUntil([&] { return (answer += newer->receive()) == "welcome"; }));
  EXPECT_FALSE(newer->ended());
  EXPECT_EQ(events.size(), 2U);
}

TEST_P(ServicesContract, ACallerThatEndsAndCallsAgainLosesNothing) {
  for (const std::string& last : {std::string("!"), pattern(kFetchBytesMax + 5000), std::string()}) {
    SCOPED_TRACE(last.size());
    auto peer = joinPeer();
    peer->send(last);
    peer->close();
    peer = harness->call(server().localPort());
    const std::string taken = takeAll(accepted(), last.size());
    EXPECT_EQ(taken.size(), last.size());
    EXPECT_TRUE(taken == last);
    EXPECT_TRUE(seen("ServerSocket 1 Accept 0"));
    EXPECT_THAT(events, ElementsAre("SrvAccept 1 Close 0", "ServerSocket 1 Accept 0"));
    accepted().close();
    server().close();
    events.clear();
  }
  const auto unread = joinPeer();
  unread->send("never fetched, so the next caller does not wait for it");
  unread->close();
  const auto peer = harness->call(server().localPort());
  EXPECT_TRUE(seen("ServerSocket 1 Accept 0"));
  EXPECT_EQ(events.size(), 1U);
}

TEST_P(ServicesContract, AShortConnectionIsReportedAsConnectedHoweverTheLoopIsTurned) {
  const auto peer = harness->answer([&](std::int32_t port) { callTo(port); });
  peer->reset();
  const std::string end = "ClientSocket 1 Close " + std::to_string(harness->resetCode());
  EXPECT_TRUE(seen(end));
  EXPECT_THAT(events, ElementsAre("ClientSocket 1 Connect 0", end));
}

TEST_P(ServicesContract, AHandleAllowsOneAttachDuringItsEvent) {
  join();
  forget(SocketArray::SrvAccept);
  std::int32_t last = 0;
  onCaller = [&](std::int32_t handle) { last = handle; };
  const auto ignored = harness->call(server().localPort());
  EXPECT_TRUE(runUntil([&] { return ignored->ended(); }));
  EXPECT_NE(failureOf([&] { accepted().attach(last); }), 0);
  onCaller = [&](std::int32_t handle) {
    EXPECT_EQ(failureOf([&] { accepted(1).attach(handle); }), 0);
    EXPECT_NE(failureOf([&] { accepted(2).attach(handle); }), 0);
  };
  const auto taken = harness->call(server().localPort());
  EXPECT_TRUE(runUntil([&] { return accepted(1).state() == kSocketConnected; }));
  EXPECT_EQ(accepted(2).state(), kSocketClosed);
}

TEST_P(ServicesContract, AListenerHearsOnlyCallsToItsAddress) {
  server().listenOn("192.0.2.1");
  EXPECT_EQ(failureOf([&] { listenOn(harness->freePort()); }), 10049);
  server().listenOn("127.0.0.2");
  const std::int32_t port = harness->freePort();
  listenOn(port);
  callTo(port);
  EXPECT_TRUE(seen("ClientSocket 1 Connect 10061"));
  client().setRemoteHost("127.0.0.2");
  client().connect();
  EXPECT_TRUE(seen("ServerSocket 1 Accept 0"));
  server().close();
  server().listenOn("0.0.0.0");
  listenOn(port);
  callTo(port, 2);
  EXPECT_TRUE(seen("ClientSocket 2 Connect 0"));
}

TEST_P(ServicesContract, AFloodOfCallersDoesNotStopTheTicks) {
  if (!harness->setSystemClock(std::chrono::seconds(0))) return;  // virtual time would stand still
  listenOn(harness->freePort());
  std::vector<std::unique_ptr<Peer>> callers(3);
  std::size_t calls = 0;
  const auto callAgain = [&] { callers[calls++ % callers.size()] = harness->call(server().localPort()); };
  while (calls < callers.size()) callAgain();
  onEvent = [&](const std::string&) { callAgain(); };
  runTicks(20);
  EXPECT_GT(calls, 20U);
  onEvent = nullptr;
}

// More callers than one turn accepts.
TEST_P(ServicesContract, CallersThatMayNotCallDisturbNobody) {
  join();
  server().allowCallers({"192.0.2.1", "127.0.0.9"});
  std::vector<std::unique_ptr<Peer>> strangers;
  strangers.reserve(100);
  for (int i = 0; i < 100; ++i) strangers.push_back(harness->call(server().localPort()));
  for (const auto& stranger : strangers) EXPECT_TRUE(runUntil([&] { return stranger->ended(); }));
  EXPECT_EQ(server().refusedCallers(), 100U);
  EXPECT_THAT(events, IsEmpty());
  client().send("still here");
  EXPECT_EQ(takeAll(accepted(), 10), "still here");
  callTo(server().localPort(), 2);
  const std::string end = "ClientSocket 2 Close " + std::to_string(harness->resetCode());
  EXPECT_TRUE(seen(end));
  EXPECT_THAT(events, ElementsAre("ClientSocket 2 Connect 0", end));
  server().allowCallers({"192.0.2.1", "127.0.0.1"});
  callTo(server().localPort(), 3);
  EXPECT_TRUE(seen("ServerSocket 1 Accept 0"));
  server().allowCallers({});
  const auto anybody = harness->call(server().localPort());
  EXPECT_TRUE(runUntil([&] { return std::ranges::count(events, "ServerSocket 1 Accept 0") == 2; }));
  EXPECT_EQ(server().refusedCallers(), 101U);
}

TEST_P(ServicesContract, CallersThatVanishedRaiseNothingAndThoseThatClosedAreReadToTheirEnd) {
  callPeer()->reset();
  runTicks(4);
  EXPECT_THAT(events, IsEmpty());
  server().close();
  const auto peer = callPeer();
  peer->send("bye");
  peer->close();
  EXPECT_EQ(takeAll(accepted(), 3), "bye");
  EXPECT_TRUE(seen("SrvAccept 1 Close 0"));
  EXPECT_THAT(events, ElementsAre("ServerSocket 1 Accept 0", "SrvAccept 1 Close 0"));
}

}  // namespace quarnex
