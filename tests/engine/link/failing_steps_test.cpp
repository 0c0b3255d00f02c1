// Fails each operation of the listen and call sequences in turn: traces, reports and the next attempt.
#include <gmock/gmock.h>

#include <algorithm>
#include <string>
#include <vector>

#include "engine/link/failure_handling.h"
#include "engine/records/trap.h"
#include "engine/tick/tick.h"
#include "support/stub_host.h"

namespace quarnex::test {
namespace {

struct Step {
  const char* operation;
  bool client;
  bool endpointReadable = true;  // otherwise the reports that need it are left out
};

const Step kSteps[] = {{"close SrvAccept", kServer},
                       {"close ServerSocket", kServer},
                       {"prepareA ServerSocket", kServer},
                       {"listen ServerSocket", kServer},
                       {"state ServerSocket", kServer},
                       {"statusText ServerSocket", kServer},
                       {"state SrvAccept", kServer},
                       {"statusText SrvAccept", kServer},
                       {"localPort ServerSocket", kServer, false},
                       {"close ClientSocket", kClient},
                       {"prepareA ClientSocket", kClient},
                       {"prepareB ClientSocket", kClient},
                       {"connect ClientSocket", kClient},
                       {"state ClientSocket", kClient},
                       {"statusText ClientSocket", kClient},
                       {"remotePort ClientSocket", kClient, false},
                       {"remoteHost ClientSocket", kClient, false}};

class FailingSteps : public testing::TestWithParam<std::int32_t> {};

TEST_P(FailingSteps, FailTheAttemptAndLeaveTheNextOne) {
  const std::int32_t number = GetParam();
  const bool noticed = number >= -32768 && number <= 32767;  // a notice carries 16 bits only
  for (const Step& step : kSteps) {
    SCOPED_TRACE(step.operation);
    StubHost host;
    host.addOpen(step.client);
    sequence(failing(step.operation, number, "boom"), after(11))(host);
    const auto lines = host.happened();
    const std::string notice = "ETH 05 MIRTAN ERROR CODE :" + std::to_string(number) +
                               (step.client ? " Errore CHIAMO" : " Errore ASCOLTO") + " ETH 05 MIRTAN:boom";
    EXPECT_EQ(std::ranges::count(lines, notice), noticed ? 1 : 0);
    EXPECT_EQ(std::ranges::count(lines, "NON RISPONDE ETH 05 MIRTAN"), 1);
    std::vector<std::string> items{"702"};
    if (step.endpointReadable)
      items.push_back((step.client ? "991 127.0.0.1:20308 Connect " : "991 0.0.0.0:20308 Listen ") +
                      std::to_string(number) + " boom");
    EXPECT_EQ(host.inbound(1), items);
    EXPECT_EQ(host.record(1).ContaNonRisponde, 1);
    EXPECT_TRUE(host.record(1).Attivo);

    host.failing.clear();
    const char* attempt = step.client ? "connect ClientSocket" : "listen ServerSocket";
    host.tickAfter(10);
    EXPECT_EQ(std::ranges::count(host.happened(), attempt), 0);
    host.tickAfter(1);
    EXPECT_EQ(std::ranges::count(host.happened(), attempt), 1);
  }
}

INSTANTIATE_TEST_SUITE_P(With, FailingSteps, testing::Values(10055, -7, 70'000, 340));

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

TEST(Tick, ServesTheLinksBehindALinkThatFails) {
  StubHost host;
  for (int link = 1; link <= 2; ++link) host.addConnected(true);
  host.record(1).StatoB = kExchangeReady;
  host.record(2).StatoB = kExchangeReady;
  host.failing.insert({"send ClientSocket", Failure(10055, "boom")});
  host.tickAfter(0);
  EXPECT_EQ(host.record(1).Stato, kSocketPhase);
  EXPECT_EQ(host.quarn.snapshot(2).framesSent, 1U);
}

// Also if the reconnection fails at its first step, because the endpoint cannot be read.
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
