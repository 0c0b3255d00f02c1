// Changes the state of an engine behind its back: the check of each rule reports its finding.
#include "simulation/checks/engine_watch.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "engine/records/frm_sock.h"
#include "platform/simulated/simulated_sockets.h"
#include "simulation/checks/independent/frame_format.h"
#include "simulation/checks/memory_bound.h"
#include "simulation/pair.h"
#include "simulation/peers/wire_format.h"
#include "simulation/runs/hashed_lines.h"

namespace quarnex::simulation {
namespace {

using wire::frame;
using wire::message;

struct Stage {
  Host& client;
  Host& server;
  TextLedger& ledger;
  ConnectionRecord& link() { return client.library().ConnectionTable[1]; }
  ConnectionRecord& serverLink() { return server.library().ConnectionTable[1]; }
  /// Puts texts into the queue of the client's only link.
  void arrived(std::initializer_list<const char*> texts) {
    for (const char* text : texts) BufferPut(link().CodaArrivo, text);
  }
  TextFlow& towardsClient() { return ledger.flow({1, 1, false}); }
  void sent(std::initializer_list<const char*> texts, std::int64_t at) {
    for (const char* text : texts) towardsClient().send(text, at);
  }
  Stage& endClient() {
    client.sockets.raise(SocketArray::ClientSocket, 1, EventKind::Close, 0);
    return *this;
  }
  /// Ends the server's connection; returns its phase deadline.
  Instant& endServer(std::int16_t code) {
    server.sockets.raise(SocketArray::SrvAccept, 1, EventKind::Close, code);
    return serverLink().ScadenzaStato;
  }
  /// From now on the client only looks at its link on each tick, in that sub-state.
  void idleIn(std::int16_t subState) {
    struct IdleTicks final : TimerEvents {
      void onTick() override {
        library->services.clock.now();
        ClientSocket(*library, 1).bytesWaiting();
      }
      Library* library = nullptr;
    };
    static IdleTicks ticks;
    ticks.library = &client.library();
    client.library().services.timer.setEvents(&ticks);
    link().StatoB = subState;
  }
};

// A change behind the engine's back, and the finding of the next steps.
struct Spoiled {
  const char* name;
  void (*spoil)(Stage& on);
  const char* finding;
  int link = 1;
};

constexpr Spoiled kSpoiled[] = {
    {"Phase", [](Stage& on) { on.link().Stato = 2; }, "Stato is neither 1 nor 17"},
    {"Guard", [](Stage& on) { on.link().InEsecuzione = kHandlerRunning; }, "InEsecuzione was left running"},
    {"Queue", [](Stage& on) { on.link().CodaArrivo.Capacity = 6000; }, "CodaArrivo is out of shape"},
    {"KeepAlive", [](Stage& on) { on.link().ScadenzaAlive = {1}; }, "the keep-alive expired early"},
    {"Reply", [](Stage& on) { on.idleIn(2); }, "a tick did not notice that an answer was overdue"},
    {"Alive", [](Stage& on) { on.idleIn(0); }, "a tick did not notice that the keep-alive had expired"},
    {"Attempt", [](Stage& on) { on.endClient().idleIn(0); },
     "a tick did not notice that the time of an attempt was over"},
    {"Call", [](Stage& on) { on.endClient().link().ScadenzaStato = {1}; },
     "a peer was called before the deadline"},
    {"Listen", [](Stage& on) { on.endServer(10054) = {1}; }, "a link listened before the deadline"},
    {"GivenUp", [](Stage& on) { on.endServer(0) = {1}; }, "a link was given up before the deadline"},
    {"GivenUpConnected",
     [](Stage& on) {
       on.link().ContaTimeoutB = 5;
       on.link().StatoB = 2;
       on.link().ScadenzaB = {1};
     },
     "a link was given up before the deadline"},
    {"Descriptor",
     [](Stage& on) { on.client.sockets.make(SocketArray::ClientSocket, 1, *on.client.library().form); },
     "a host holds more descriptors than its sockets use", 0},
    {"Identifier", [](Stage& on) { on.link().IdQuarn = 6; }, "a message has another link's identifier"},
    {"Report", [](Stage& on) { on.link().NonRispondeSegnalato = true; }, "112 without 109"},
    {"Text", [](Stage& on) { on.arrived({"text 7"}); }, "a text was delivered that nobody sent: text 7"},
    {"TextOnceTorn",
     [](Stage& on) {
       on.towardsClient().receiveBody("of a stranger", 0);
       on.arrived({"\xA7", "text 7"});
     },
     "a text was delivered that nobody sent: text 7"},
    {"OrderAnew",
     [](Stage& on) {
       on.towardsClient().receiveBody("of a stranger", 0);
       on.towardsClient().restart(31'000);
       on.sent({"text 1", "text 2", "text 3"}, 0);
       on.arrived({"text 2", "text 3", "text 1"});
     },
     "a text was delivered out of order: text 1"},
    {"Loss",
     [](Stage& on) {
       on.sent({"text 1", "text 2"}, 31'000);
       on.arrived({"text 2"});
     },
     "texts were lost or doubled without a cause"},
    {"Order",
     [](Stage& on) {
       on.towardsClient().excuse(Cause::Damaged, 0);  // before the activation: excuses nothing
       on.sent({"text 1", "text 2"}, 0);
       on.arrived({"text 2", "text 1"});
     },
     "a text was delivered out of order: text 1"},
};

class SpoiledEngine : public testing::TestWithParam<Spoiled> {};

TEST_P(SpoiledEngine, GivesAFinding) {
  Pair pair;
  SiteObservations observations{pair.world.time()};
  std::optional<recording::Finding> finding;
  for (Host* host : pair.hosts) {
    host->makeWrapper = [&, host, number = host == &pair.client ? 1 : 2] {
      return watchEngine(observations, finding, number, 1, std::make_shared<HashedLines>(), host->sockets);
    };
    host->start();
    pair.world.run(1);
  }
  pair.add();
  pair.open();
  pair.world.run(30);
  ASSERT_TRUE(pair.connected());
  ASSERT_FALSE(finding) << finding->text;
  Stage stage{pair.client, pair.server, observations.ledger};
  GetParam().spoil(stage);
  pair.world.run(30);
  Pair::take(pair.client);
  ASSERT_TRUE(finding);
  EXPECT_EQ(finding->text, GetParam().finding);
  EXPECT_EQ(finding->link, GetParam().link);
  for (Host* host : pair.hosts) host->stop();
}

INSTANTIATE_TEST_SUITE_P(Each, SpoiledEngine, testing::ValuesIn(kSpoiled),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(MemoryBound, AllowsTwiceTheContents) {
  ConnectionRecord record;
  record.FrameInCorso.append(std::string(300'000, 'x'));
  record.UltimoLotto.assign(10'000, 'x');
  EXPECT_EQ(MemoryBound::heldBeyondNeed(record), "");
  record.UltimoLotto.clear();
  EXPECT_EQ(MemoryBound::heldBeyondNeed(record), "UltimoLotto holds too much memory");
}

TEST(FrameFormat, RejectsEveryChangedByteAndEveryShorterFrame) {
  const std::string good = frame(message(5, {"text", "9CMD", "9."}));
  EXPECT_EQ(FrameFormat::flawOfFrame(good, 5), "");
  EXPECT_NE(FrameFormat::flawOfFrame(good, 6), "");
  EXPECT_NE(FrameFormat::flawOfFrame(good + good, 5), "");
  for (std::size_t i = 0; i < good.size(); ++i) {
    std::string flawed = good;
    flawed[i] = static_cast<char>(flawed[i] ^ 1);
    EXPECT_NE(FrameFormat::flawOfFrame(flawed, 5), "") << i;
    EXPECT_NE(FrameFormat::flawOfFrame(std::string_view(good).substr(0, i), 5), "") << i;
  }
  std::string miscounted = message(5, {"9QRY", "9."});
  ++miscounted[6];
  EXPECT_NE(FrameFormat::flawOfFrame(frame(miscounted), 5), "");
}

}  // namespace
}  // namespace quarnex::simulation
