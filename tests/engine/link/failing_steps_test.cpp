// Fails every operation of the listen and call sequences in turn, and expects its traces, its reports and the
// next attempt.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <tuple>

#include "engine/link/failure_handling.h"
#include "engine/records/frm_sock.h"
#include "engine/records/trap.h"
#include "engine/tick/tick.h"
#include "support/stub_host.h"

namespace quarnex::test {
namespace {

struct Step {
  const char* operation;
  bool endpointReadable;  // otherwise the reports that need it are left out
};

const Step kListenSteps[] = {
    {"close SrvAccept", true},     {"close ServerSocket", true},   {"prepareA ServerSocket", true},
    {"listen ServerSocket", true}, {"state ServerSocket", true},   {"statusText ServerSocket", true},
    {"state SrvAccept", true},     {"statusText SrvAccept", true}, {"localPort ServerSocket", false}};
const Step kCallSteps[] = {{"close ClientSocket", true},       {"prepareA ClientSocket", true},
                           {"prepareB ClientSocket", true},    {"connect ClientSocket", true},
                           {"state ClientSocket", true},       {"statusText ClientSocket", true},
                           {"remotePort ClientSocket", false}, {"remoteHost ClientSocket", false}};

class FailingSteps : public testing::TestWithParam<std::tuple<bool, std::int32_t>> {};

TEST_P(FailingSteps, FailTheAttemptAndLeaveTheNextOne) {
  const auto [client, number] = GetParam();
  const bool noticed = number >= -32768 && number <= 32767;  // a notice carries 16 bits only
  const std::string failure = std::to_string(number) + " boom";
  for (const Step& step : client ? std::span<const Step>(kCallSteps) : std::span<const Step>(kListenSteps)) {
    SCOPED_TRACE(step.operation);
    StubHost host;
    host.addOpen(client);
    host.failing.insert({step.operation, Failure(number, "boom")});
    host.tickAfter(11);
    const auto lines = host.happened();
    const std::string notice = "ETH 05 MIRTAN ERROR CODE :" + std::to_string(number) +
                               (client ? " Errore CHIAMO" : " Errore ASCOLTO") + " ETH 05 MIRTAN:boom";
    EXPECT_EQ(std::ranges::count(lines, notice), noticed ? 1 : 0);
    EXPECT_EQ(std::ranges::count(lines, "NON RISPONDE ETH 05 MIRTAN"), 1);
    const auto items = host.inbound(1);
    ASSERT_EQ(items.size(), step.endpointReadable ? 2U : 1U);
    EXPECT_EQ(items[0], "702");
    const std::string report = client ? "991 127.0.0.1:20308 Connect " : "991 0.0.0.0:20308 Listen ";
    if (step.endpointReadable) {
      EXPECT_EQ(items[1], report + failure);
    }
    EXPECT_EQ(host.record(1).ContaNonRisponde, 1);
    EXPECT_TRUE(host.record(1).Attivo);

    host.failing.clear();
    host.tickAfter(10);
    EXPECT_EQ(std::ranges::count(host.happened(), client ? "connect ClientSocket" : "listen ServerSocket"),
              0);
    host.tickAfter(1);
    EXPECT_EQ(std::ranges::count(host.happened(), client ? "connect ClientSocket" : "listen ServerSocket"),
              1);
  }
}

INSTANTIATE_TEST_SUITE_P(Roles, FailingSteps,
                         testing::Combine(testing::Bool(), testing::Values(10055, -7, 70'000, 340)));

TEST(FailingCloses, StopNeitherTheReconnectionNorTheCloseForGood) {
  for (const bool client : {true, false}) {
    SCOPED_TRACE(client);
    StubHost host;
    host.addConnected(client);
    for (const char* name : {"close ClientSocket", "close ServerSocket", "close SrvAccept"}) {
      host.failing.insert({name, Failure(10038, "boom")});
    }
    host.receive(1, "0000052|9K|9.|");  // the peer's request reconnects without counting a failure
    EXPECT_THAT(host.inbound(1), testing::ElementsAre("702"));
    EXPECT_EQ(host.record(1).ContaNonRisponde, 0);
    host.quarn.Chiudi(1);
    EXPECT_THAT(host.inbound(1),
                testing::ElementsAre("702", std::string("993 127.0.0.1:20308 Chiuso/disattivato socket ") +
                                                (client ? "client " : "server ")));
    EXPECT_EQ(host.quarn.ProntoPerUscire(), -1);
    EXPECT_EQ(host.quarn.snapshot(1).phase, LinkPhase::Closed);
  }
}

TEST(Shutdown, AsksTheConnectedPeerAndEndsWithItsClose) {
  for (const bool client : {true, false}) {
    SCOPED_TRACE(client);
    StubHost host;
    host.addConnected(client);
    host.quarn.Uscita();
    host.quarn.Uscita();
    EXPECT_EQ(host.record(1).CodaInvio.Count, 2);  // one more "9K" at each call
    EXPECT_EQ(host.quarn.ProntoPerUscire(), 0);
    host.events().onClose(client ? SocketArray::ClientSocket : SocketArray::SrvAccept, 1, 0);
    const auto items = host.inbound(1);
    EXPECT_THAT(items, testing::ElementsAre("702", "702",
                                            testing::HasSubstr("993 127.0.0.1:20308 Chiuso/disattivato")));
    EXPECT_EQ(host.quarn.ProntoPerUscire(), -1);
  }
}

TEST(Shutdown, LeavesAReconnectedLinkInactive) {
  StubHost host;
  host.addConnected(true);
  host.quarn.Uscita();
  host.failing.insert({"send ClientSocket", Failure(10057, "boom")});
  host.tickAfter(1);
  EXPECT_THAT(host.inbound(1), testing::ElementsAre("702", "991 127.0.0.1:20308 Send 10057 boom"));
  EXPECT_FALSE(host.record(1).Attivo);
  EXPECT_EQ(host.quarn.ProntoPerUscire(), -1);
}

TEST(Guard, TracesAFailureThatEscapesAStepAndServesTheLinkAgain) {
  StubHost host;
  host.addOpen(true);
  const LinkStep steps[] = {[](Library&, ConnectionRecord&) { throw Failure(13, "Type mismatch"); },
                            [](Library&, ConnectionRecord&) { throw Failure(70'000, "too long"); }};
  for (const LinkStep step : steps) {
    Handler(host.library, host.record(1), step);
    EXPECT_EQ(host.record(1).InEsecuzione, kHandlerFree);
  }
  EXPECT_THAT(host.happened(), testing::ElementsAre("P:Errore: 13 error QUARN Handler"));
  host.record(1).InEsecuzione = kHandlerRunning;
  Handler(host.library, host.record(1), steps[0]);
  EXPECT_THAT(host.happened(), testing::IsEmpty());
  host.quarn.Apri(1);  // the activation frees it
  EXPECT_EQ(host.record(1).InEsecuzione, kHandlerFree);
}

TEST(Tick, GoesOnBehindALinkThatFails) {
  StubHost host;
  for (int link = 1; link <= 2; ++link) host.addConnected(true);
  host.record(1).StatoB = kExchangeReady;
  host.record(2).StatoB = kExchangeReady;
  host.failing.insert({"send ClientSocket", Failure(10055, "boom")});
  host.tickAfter(0);
  EXPECT_EQ(host.record(1).Stato, kSocketPhase);
  EXPECT_EQ(host.quarn.snapshot(2).framesSent, 1U);
}

TEST(Trap, KeepsNothingOfAStepThatFailedWithNumberZero) {
  StubHost host;
  EXPECT_EQ(Trap(host.library).number(), 0);
  EXPECT_EQ(Trap(host.library).description(), "");
  host.addOpen(true);
  host.failing.insert({"prepareA ClientSocket", Failure(0, "nothing is wrong")});
  host.tickAfter(11);
  EXPECT_EQ(host.socket("ClientSocket").inner->settings.state, kSocketCalling);
  EXPECT_THAT(host.inbound(1), testing::IsEmpty());
}

// Also by one that gets no further than its beginning, since nothing of the endpoint can be read.
TEST(Trap, IsSettledByAReconnectionInsideIt) {
  for (const bool readable : {true, false}) {
    StubHost host;
    host.addConnected(true);
    if (!readable) host.failing.insert({"remotePort ClientSocket", Failure(10038, "not a socket")});
    Trap caller(host.library);
    Trap reconnection(host.library);
    caller([] { throw Failure(5, "boom"); });
    reconnection([&] { NonRisponde(host.library, host.record(1), {FailureKind::ReplyTimeout}); });
    EXPECT_FALSE(caller.pending());
    EXPECT_EQ(reconnection.pending(), !readable);
  }
}

TEST(Events, OfNoLinkAndOfTheWrongArrayChangeNothing) {
  StubHost host;
  host.addConnected(true);
  host.addConnected(false);
  host.happened();
  for (const SocketArray array :
       {SocketArray::ClientSocket, SocketArray::ServerSocket, SocketArray::SrvAccept}) {
    for (const std::int16_t index : std::initializer_list<std::int16_t>{-1, 0, 2}) {
      host.events().onConnect(array, index, 0);
      host.events().onClose(array, index, 0);
      host.events().onReceive(array, index, 10054);
      host.events().onAccept(array, index, 9, 0);
      EXPECT_THROW(Form(host.library).socket(array, index == 0 ? std::int16_t{3} : index), Failure);
    }
    if (array != SocketArray::ClientSocket) host.events().onConnect(array, 1, 0);
    if (array != SocketArray::ServerSocket) host.events().onAccept(array, 1, 9, 0);
  }
  EXPECT_THAT(host.happened(), testing::IsEmpty());
}

TEST(Sockets, InANegativeStateAreBusy) {
  for (const bool client : {true, false}) {
    StubHost host;
    host.addOpen(client);
    host.socket(client ? "ClientSocket" : "ServerSocket").inner->settings.state = -1;
    host.tickAfter(11);
    EXPECT_THAT(host.inbound(1), testing::Contains(client ? "991 127.0.0.1:20308 Connect Timeout"
                                                          : "991 0.0.0.0:20308 Listen Timeout"));
  }
}

}  // namespace
}  // namespace quarnex::test
