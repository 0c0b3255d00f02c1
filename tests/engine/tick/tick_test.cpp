// Tests the tick: each deadline in the second before it, in its own second and in the second after it, and
// links that fail.
#include "engine/tick/tick.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <functional>
#include <initializer_list>
#include <string>

#include "engine/records/frm_sock.h"
#include "support/stub_host.h"

namespace quarnex::test {
namespace {

using Condition = std::function<bool(StubHost& host)>;

Condition traced(const char* text) {
  return [=](StubHost& host) { return std::ranges::count(host.journal, text) > 0; };
}
const Condition kListened = traced("ASCOLTO ETH 05 MIRTAN 20308");
const Condition kGaveUpListening = traced("TIMEOUT ASCOLTO ETH 05 MIRTAN 20308");
const Condition kCalled = traced("CHIAMO ETH 05 MIRTAN 20308 127.0.0.1");
const Condition kGaveUpCalling =
    traced("ETH 05 MIRTAN Errore : ETH 05 MIRTAN non si connette! Tentativi:0 Max3");
const Condition kTimedOut = traced("ETH 05 MIRTAN TIMEOUT Alive ETH 05 MIRTAN");
const Condition kProbed = [](StubHost& host) { return host.record(1).ContaAlive == 1; };
const Condition kReady = [](StubHost& host) { return host.record(1).StatoB == kExchangeReady; };
const Action kCloseListening = [](StubHost& host) { host.events().onClose(SocketArray::ServerSocket, 1, 0); };

struct Deadline {
  const char* name;
  bool client;
  Action action;  // sets the deadline
  std::int64_t seconds;
  Condition acted;
};

const Deadline kDeadlines[] = {
    {"activation of a server", kServer, nothing, 10, kListened},
    {"activation of a client", kClient, nothing, 10, kCalled},
    {"listening", kServer, after(11), 60, kGaveUpListening},
    {"calling", kClient, after(11), 60, kGaveUpCalling},
    {"after a client close", kClient, sequence(connected(), connectionEnds(0)), 20, kCalled},
    {"listening again at once", kServer, sequence(connected(), connectionEnds(0)), 60, kGaveUpListening},
    {"after an accept close with a code", kServer, sequence(connected(), connectionEnds(10054)), 10,
     kListened},
    {"after the listening socket closed", kServer, sequence(connected(), kCloseListening), 10, kListened},
    {"after a reconnection", kClient, sequence(after(11), callEnds(10061)), 10, kCalled},
    {"keep-alive of a client", kClient, connected(), 10, kProbed},
    {"keep-alive of a server", kServer, connected(), 15, kProbed},
    {"second expiry", kServer, sequence(connected(), after(16)), 15, kTimedOut},
    {"an answer", kClient, sequence(connected(), after(0)), 5, kReady},
    {"the pause of a server", kServer, sequence(connected(), received("0000053|HELLO|9CMD|9.|")), 5, kReady},
    {"the pause after no data", kClient, sequence(connected(), received("0000052|9NODATA|9.|")), 0, kReady},
};

TEST(Deadlines, AreActedOnInTheSecondAfterThem) {
  for (const Deadline& row : kDeadlines) {
    SCOPED_TRACE(row.name);
    StubHost host;
    host.addOpen(row.client);
    row.action(host);
    host.happened();
    if (row.seconds > 0) host.tickAfter(row.seconds - 1);
    EXPECT_FALSE(row.acted(host)) << "the second before";
    host.tickAfter(row.seconds > 0 ? 1 : 0);
    EXPECT_FALSE(row.acted(host)) << "the deadline itself";
    host.tickAfter(1);
    EXPECT_TRUE(row.acted(host)) << "the second after";
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

TEST(Sockets, WithoutALinkRaiseEventsWithoutEffect) {
  StubHost host;
  host.addConnected(true);
  for (const auto array : {SocketArray::ClientSocket, SocketArray::ServerSocket, SocketArray::SrvAccept}) {
    for (const std::int16_t index : std::initializer_list<std::int16_t>{-1, 0, 2}) {
      host.events().onConnect(array, index, 0);
      host.events().onClose(array, index, 10054);
      host.events().onReceive(array, index, 0);
      host.events().onAccept(array, index, 9, 0);
    }
  }
  EXPECT_THAT(host.happened(), testing::IsEmpty());
  EXPECT_THROW(ClientSocket(host.library, -1), Failure);
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

TEST(Tick, ServesTheLinksBehindALinkThatFails) {
  StubHost host;
  for (int link = 1; link <= 2; ++link) host.addConnected(true);
  host.record(1).StatoB = kExchangeReady;
  host.record(2).StatoB = kExchangeReady;
  host.quarn.Invia(2, "text");
  host.failing.insert({"send ClientSocket", Failure(10055, "boom")});
  host.tickAfter(3);
  EXPECT_EQ(host.record(1).Stato, kSocketPhase);
  EXPECT_EQ(host.quarn.snapshot(2).framesSent, 1U);
  EXPECT_EQ(host.quarn.snapshot(2).lastSent, host.time.second);
}

// The rest of a step runs although the failed send has begun the link anew.
TEST(Tick, LeavesTheExchangeWaitingAfterAFailedSend) {
  const struct {
    const char* name;
    bool client;
    Action action;
  } rows[] = {{"a query is answered", kServer, received("0000052|9QRY|9.|")},
              {"data is answered", kClient, received("0000053|AB|9CMD|9.|")},
              {"a batch is sent", kClient, after(6)}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    StubHost host;
    host.addConnected(row.client);
    host.quarn.Invia(1, "HELLO");
    host.failing.insert({row.client ? "send ClientSocket" : "send SrvAccept", Failure(10055, "boom")});
    row.action(host);
    EXPECT_EQ(host.record(1).Stato, kSocketPhase);
    EXPECT_EQ(host.record(1).StatoB, kExchangeWaiting);
  }
}

}  // namespace
}  // namespace quarnex::test
