// Tests each deadline in the second before it, in its own second and in the second after it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "support/stub_host.h"

namespace quarnex::test {
namespace {

bool seen(const std::vector<std::string>& lines, const std::string& text) {
  return std::ranges::find(lines, text) != lines.end();
}

struct Deadline {
  const char* name;
  void (*reach)(StubHost& host);
  std::int64_t seconds;
  bool (*acted)(StubHost& host);
};

void openServer(StubHost& host) {
  host.addOpen(false);
}
void openClient(StubHost& host) {
  host.addOpen(true);
}
void listenNow(StubHost& host) {
  host.addOpen(false);
  host.tickAfter(11);
}
void callNow(StubHost& host) {
  host.addOpen(true);
  host.tickAfter(11);
}
void connectClient(StubHost& host) {
  host.addConnected(true);
}
void connectServer(StubHost& host) {
  host.addConnected(false);
}
void closeClient(StubHost& host) {
  host.addConnected(true);
  host.events().onClose(SocketArray::ClientSocket, 1, 0);
}
template <SocketArray array, int code>
void closeServer(StubHost& host) {
  host.addConnected(false);
  host.events().onClose(array, 1, code);
}
void refuse(StubHost& host) {
  callNow(host);
  host.events().onConnect(SocketArray::ClientSocket, 1, 10061);
}
void afterNoData(StubHost& host) {
  host.addConnected(true);
  host.receive(1, "0000052|9NODATA|9.|");
}
void waiting(StubHost& host) {
  host.addConnected(true);
  host.tickAfter(0);  // the query leaves
}
void acknowledged(StubHost& host) {
  host.addConnected(false);
  host.receive(1, "0000053|HELLO|9CMD|9.|");
}
void oneExpiry(StubHost& host) {
  host.addConnected(false);
  host.tickAfter(16);
}

bool listened(StubHost& host) {
  return seen(host.journal, "ASCOLTO ETH 05 MIRTAN 20308");
}
bool gaveUpListening(StubHost& host) {
  return seen(host.journal, "TIMEOUT ASCOLTO ETH 05 MIRTAN 20308");
}
bool called(StubHost& host) {
  return seen(host.journal, "CHIAMO ETH 05 MIRTAN 20308 127.0.0.1");
}
bool gaveUpCalling(StubHost& host) {
  return seen(host.journal, "ETH 05 MIRTAN Errore : ETH 05 MIRTAN non si connette! Tentativi:0 Max3");
}
bool probed(StubHost& host) {
  return host.record(1).ContaAlive == 1;
}
bool timedOut(StubHost& host) {
  return seen(host.journal, "ETH 05 MIRTAN TIMEOUT Alive ETH 05 MIRTAN");
}
bool ready(StubHost& host) {
  return host.record(1).StatoB == kExchangeReady;
}

const Deadline kDeadlines[] = {
    {"activation of a server", openServer, 10, listened},
    {"activation of a client", openClient, 10, called},
    {"listening", listenNow, 60, gaveUpListening},
    {"calling", callNow, 60, gaveUpCalling},
    {"after a client close", closeClient, 20, called},
    {"listening again at once", closeServer<SocketArray::SrvAccept, 0>, 60, gaveUpListening},
    {"after an accept close with a code", closeServer<SocketArray::SrvAccept, 10054>, 10, listened},
    {"after the listening socket closed", closeServer<SocketArray::ServerSocket, 0>, 10, listened},
    {"after a reconnection", refuse, 10, called},
    {"keep-alive of a client", connectClient, 10, probed},
    {"keep-alive of a server", connectServer, 15, probed},
    {"second expiry", oneExpiry, 15, timedOut},
    {"an answer", waiting, 5, ready},
    {"the pause of a server", acknowledged, 5, ready},
    {"the pause after no data", afterNoData, 0, ready},
};

TEST(Deadlines, AreActedOnInTheSecondAfterThem) {
  for (const Deadline& row : kDeadlines) {
    SCOPED_TRACE(row.name);
    StubHost host;
    row.reach(host);
    host.happened();
    if (row.seconds > 0) host.tickAfter(row.seconds - 1);
    EXPECT_FALSE(row.acted(host)) << "the second before";
    host.tickAfter(row.seconds > 0 ? 1 : 0);
    EXPECT_FALSE(row.acted(host)) << "the deadline itself";
    host.tickAfter(1);
    EXPECT_TRUE(row.acted(host)) << "the second after";
  }
}

TEST(Deadlines, AreCountedOnceHoweverLateTheTick) {
  StubHost host;
  connectClient(host);
  host.tickAfter(86'400);
  EXPECT_EQ(host.record(1).ContaAlive, 1);
  host.tickAfter(-86'400);  // the clock set back: nothing is due for a day
  EXPECT_EQ(host.record(1).ContaAlive, 1);
}

TEST(Supervision, DeclaresTheTimeOutAtTheSecondExpiryInARow) {
  StubHost host;
  oneExpiry(host);
  host.happened();
  host.tickAfter(16);
  EXPECT_THAT(host.inbound(1), testing::ElementsAre("702", "991 127.0.0.1:20308 Alive Timeout"));
  EXPECT_EQ(host.record(1).StatoB, kExchangeReady);  // the same tick goes on to the reset step
  EXPECT_EQ(host.record(1).Stato, kSocketPhase);
  EXPECT_EQ(host.record(1).ContaAlive, 0);
}

// A client that hears nothing sends six times, five seconds and a tick apart; the sixth overdue answer is a
// failure. The keep-alive is held off, since a silent peer would meet it first.
TEST(Supervision, FailsAtTheSixthOverdueAnswer) {
  StubHost host;
  waiting(host);
  std::vector<std::string> sent;
  for (int second = 0; second < 60 && host.record(1).Stato == kConnected; ++second) {
    host.record(1).ScadenzaAlive.second = host.time.second + 60;
    host.tickAfter(1);
    for (const std::string& line : host.happened()) {
      if (line.starts_with("send ")) sent.push_back(line);
    }
  }
  EXPECT_EQ(sent.size(), 6U);  // the first and five repetitions
  EXPECT_THAT(host.inbound(1), testing::ElementsAre("702", "991 127.0.0.1:20308 Timeout HandleStato_B"));
  EXPECT_EQ(host.record(1).StatoB, kExchangeReset);
  EXPECT_EQ(host.record(1).ContaTimeoutB, 0);
}

TEST(Supervision, ReportsTheFourthFailureAndTheRecovery) {
  StubHost host;
  host.addOpen(true);
  const std::string refused =
      "127.0.0.1:20308 10061  The requested connection has been refused by the remote host.";
  const std::vector<std::string> expected[] = {
      {"702", "991 " + refused}, {"702"}, {"702"}, {"702", "109 " + refused}, {"702"}};
  for (const auto& items : expected) {
    host.tickAfter(11);
    host.events().onConnect(SocketArray::ClientSocket, 1, 10061);
    EXPECT_EQ(host.inbound(1), items);
  }
  EXPECT_EQ(
      host.quarn.snapshot(1).why,
      "down since 08:39:21: error 10061, The requested connection has been refused by the remote host (while "
      "calling, at 08:40:16); next call at 08:40:27");
  host.tickAfter(11);
  host.events().onConnect(SocketArray::ClientSocket, 1, 0);
  host.receive(1, "0000052|9NODATA|9.|");
  EXPECT_THAT(host.inbound(1), testing::ElementsAre("701 127.0.0.1:20308", "112", "992"));
}

}  // namespace
}  // namespace quarnex::test
