// Two engines on the simulated network carry a text: every byte and every trace on its way.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "services/observer.h"
#include "simulation/pair.h"

namespace quarnex::simulation {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Keeps each send from now on, after the initial of its side.
void tap(World& world, std::vector<std::string>& sent) {
  world.network().onConnection = [&sent](Connection& connection) {
    connection.caller.tamper = [&sent](std::string_view bytes) {
      sent.push_back("C " + std::string(bytes));
      return std::vector<Piece>{{std::string(bytes)}};
    };
    connection.called.tamper = [&sent](std::string_view bytes) {
      sent.push_back("S " + std::string(bytes));
      return std::vector<Piece>{{std::string(bytes)}};
    };
  };
}

// Keeps the trace texts of a host.
class Traces final : public PassingObserver {
 public:
  explicit Traces(Host& host) : host_(host) { next = std::exchange(host.library().observer, this); }
  ~Traces() override { host_.library().observer = next; }
  void traced(std::int16_t, std::string_view text) override { texts_.emplace_back(text); }
  std::vector<std::string> take() { return std::exchange(texts_, {}); }

 private:
  Host& host_;
  std::vector<std::string> texts_;
};

TEST(TwoHosts, ConnectAndCarryOneText) {
  Pair pair;
  std::vector<std::string> sent;
  tap(pair.world, sent);
  Traces serverTraces(pair.server), clientTraces(pair.client);
  pair.server.quarn().Add("MIRTAN", 5, false, true);
  pair.client.quarn().Add("MIRTAN", 5, true, true);
  pair.server.quarn().Apri(1);
  pair.world.run(1);  // so that the server listens before the client calls
  pair.client.quarn().Apri(1);
  ASSERT_TRUE(pair.connects());

  const std::string report = "X000E0701[#I5#$TMIRTAN$$S127.0.0.1:20308$]09301219112026";
  EXPECT_THAT(Pair::take(pair.server), ElementsAre(report));
  EXPECT_THAT(Pair::take(pair.client), ElementsAre(report));
  EXPECT_THAT(serverTraces.take(),
              ElementsAre("ADD 1 : 5 MIRTAN MIRTAN", "ATTIVATO SOCKET SERVER ETH 05 MIRTAN",
                          "ASCOLTO ETH 05 MIRTAN 20308", "Server Socket 2 Listening",
                          "Accept Socket 0 Closed", "Server Socket 2 Listening", "Accept Socket 0 Closed",
                          "SCARTO:", "P:" + report, "Server CONNESSO ETH 05 MIRTAN 20308 127.0.0.1",
                          "Server Socket 2 Listening", "Accept Socket 4 Connected"));
  EXPECT_THAT(clientTraces.take(),
              ElementsAre("ADD 1 : 5 MIRTAN MIRTAN", "ATTIVATO SOCKET CLIENT ETH 05 MIRTAN",
                          "Client Socket State:0 Closed", "CHIAMO ETH 05 MIRTAN 20308 127.0.0.1",
                          "Client Socket State:3 Calling", "Client CONNESSO ETH 05 MIRTAN 20308 127.0.0.1",
                          "SCARTO:", "P:" + report, "Client Socket State:4 Connected"));

  pair.client.quarn().Invia(1, "HELLO");
  pair.world.run(2);
  EXPECT_THAT(Pair::take(pair.server), ElementsAre("HELLO"));
  EXPECT_THAT(Pair::take(pair.client), IsEmpty());
  EXPECT_THAT(sent, ElementsAre("C \2"
                                "99990000053|HELLO|9CMD|9.|A@\3",
                                "S \2"
                                "99990000052|9ACK|9.|BL\3",
                                "C \2"
                                "99990000052|9QRY|9.|CO\3",
                                "S \2"
                                "99990000052|9NODATA|9.|GD\3"));
  const std::string line(78, '+');
  EXPECT_THAT(serverTraces.take(),
              ElementsAre("R>99990000053|HELLO|9CMD|9.|", "X:HELLO", "I>99990000052|9ACK|9.|", line,
                          "R>99990000052|9QRY|9.|", "I>99990000052|9NODATA|9.|", line));
  EXPECT_THAT(clientTraces.take(), ElementsAre("COMANDO:00001 HELLO", "IN CANNA:0000053|HELLO|9CMD|9.|",
                                               "I>99990000053|HELLO|9CMD|9.|", "R>99990000052|9ACK|9.|", line,
                                               "I>99990000052|9QRY|9.|", "R>99990000052|9NODATA|9.|", line));
}

// Many links between two hosts, texts both ways at every moment: all arrive once and in order.
TEST(TwoHosts, ManyLinksLoseNothingOnADelayedNetwork) {
  Pair pair(3, 20);
  Network& network = pair.world.network();
  network.callerConditions =
      network.calledConditions = {.delay = 30, .jitter = 200, .fragmentMax = 5, .quantum = 40};
  pair.add();
  pair.open();
  for (std::int16_t link = 1; link <= 20; ++link) ASSERT_TRUE(pair.connects(link));
  for (int round = 0; round < 50; ++round) {
    for (std::int16_t link = 1; link <= 20; ++link) {
      for (Host* host : {&pair.server, &pair.client})
        host->quarn().Invia(link, "text " + std::to_string(round));
    }
    pair.world.run(1);
  }
  pair.world.run(60);
  for (std::int16_t link = 1; link <= 20; ++link) {
    for (Host* host : {&pair.server, &pair.client}) {
      const auto items = Pair::take(*host, link);
      ASSERT_EQ(items.size(), 51U) << link;  // the report of the connection first
      for (std::size_t i = 1; i < items.size(); ++i) EXPECT_EQ(items[i], "text " + std::to_string(i - 1));
    }
  }
}

}  // namespace
}  // namespace quarnex::simulation
