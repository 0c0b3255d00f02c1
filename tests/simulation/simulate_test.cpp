// Whole lives of a site under audit: fixed seeds hold, recordings replay, and what must not be is noticed.
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "engine/records/frm_sock.h"
#include "host/method_table.h"
#include "platform/simulated/simulated_sockets.h"
#include "quarnex/times_and_limits.h"
#include "recording/player/player.h"
#include "simulation/checks/engine_watch.h"
#include "simulation/checks/independent/frame_format.h"
#include "simulation/checks/independent/stream_hash.h"
#include "simulation/checks/invariants.h"
#include "simulation/checks/memory_bound.h"
#include "simulation/pair.h"
#include "simulation/peers/wire_format.h"
#include "simulation/runs/hashed_lines.h"
#include "simulation/runs/simulate_run.h"
#include "simulation/sites/site.h"
#include "support/test_files.h"

namespace quarnex::simulation {
namespace {

using wire::frame;
using wire::message;

RunPlan planOf(std::uint64_t seed) {
  RunPlan plan;
  plan.seed = seed;
  plan.links = 3;
  return plan;
}

struct Life {
  std::uint64_t seed;
  std::uint64_t hash;  // of the recordings, on every compiler, with and without sanitizers
  int links = 3;
  Milliseconds faultTime = kHour;
};

class Lives : public testing::TestWithParam<Life> {};

TEST_P(Lives, HoldWhatMustHold) {
  RunPlan plan = planOf(GetParam().seed);
  plan.links = GetParam().links;
  plan.faultTime = GetParam().faultTime;
  plan.faults = *faultsNamed("generation-1");
  const RunResult result = simulate(plan);
  EXPECT_FALSE(result.finding) << result.finding->text;
  EXPECT_GT(result.texts.of(Arrival::New), 0U);
  EXPECT_EQ(result.hash, GetParam().hash) << std::hex << result.hash << " if the simulation was changed";
}

INSTANTIATE_TEST_SUITE_P(Seeds, Lives,
                         testing::Values(Life{2, 0x98680cf59ec83f85}, Life{3, 0x835f29b768ffc7c7},
                                         Life{8, 0xd613d8d80dcb8fa}, Life{19, 0xf12e95f5c845be8a},
                                         Life{1, 0x3a5b301d5234b39c, kLinksMax, 5'000}),
                         [](const auto& row) { return std::to_string(row.param.seed); });

TEST(ALife, HoldsUnderEveryFault) {
  for (std::uint64_t seed = 20; seed < 30; ++seed) {
    const RunResult result = simulate(planOf(seed));
    EXPECT_FALSE(result.finding) << seed << ": " << result.finding->text;
  }
}

TEST(ALife, IsTheSameAgainAndItsRecordingsReplay) {
  RunPlan plan = planOf(5);
  const RunResult plain = simulate(plan);
  const TemporaryFolder folder;
  plan.recordDirectory = folder.path();
  const RunResult recorded = simulate(plan);
  EXPECT_EQ(recorded.hash, plain.hash);
  EXPECT_TRUE(recorded.recordingsWhole);
  std::uint64_t files = 0, bytes = 0;
  for (const auto& file : std::filesystem::directory_iterator(*plan.recordDirectory)) {
    std::ifstream in(file.path(), std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(in), {}};
    in.seekg(0);
    recording::RecordingReader reader(in);
    const auto replayed = recording::replay(reader);
    EXPECT_FALSE(replayed.mismatch || replayed.damage) << file.path();
    ++files;
    StreamHash hash;
    hash.add(file.path().filename().string() + text);
    bytes ^= hash.value();
  }
  EXPECT_EQ(bytes, 0x7b51ddc014fcc980) << "on every compiler, with and without sanitizers";
  EXPECT_EQ(files, recorded.engines);
  EXPECT_NE(simulate(planOf(6)).hash, plain.hash);
}

TEST(ALife, IsRecordedAgainIntoAFreshFolder) {
  const TemporaryFolder place;
  RunPlan plan = planOf(5);
  plan.faultTime = kSecond;
  for (const char* name : {"quarn-simulate-5", "quarn-simulate-5-2", "quarn-simulate-5-3"}) {
    const std::filesystem::path folder = recordAgain(plan, place.path());
    EXPECT_EQ(folder, place.path() / name);
    EXPECT_GT(std::filesystem::file_size(folder / "host4-1.jsonl"), 0U);
  }
  EXPECT_THROW(recordAgain(plan, place.path() / "nowhere"), std::runtime_error);
}

struct Stage {
  Host& client;
  Host& server;
  TextLedger& ledger;
  ConnectionRecord& link() { return client.library().ConnectionTable[1]; }
  ConnectionRecord& serverLink() { return server.library().ConnectionTable[1]; }
  /// The client's only link has got these texts.
  void arrived(std::initializer_list<const char*> texts) {
    for (const char* text : texts) BufferPut(link().CodaArrivo, text);
  }
  TextFlow& towardsClient() { return ledger.flow({1, 5, false}); }
  void sent(std::initializer_list<const char*> texts, std::int64_t at) {
    for (const char* text : texts) ledger.send(towardsClient(), text, at);
  }
  Stage& endClient() {
    client.sockets.raise(SocketArray::ClientSocket, 1, EventKind::Close, 0);
    return *this;
  }
  /// The server's phase deadline once its connection has ended so.
  Instant& endServer(std::int16_t code) {
    server.sockets.raise(SocketArray::SrvAccept, 1, EventKind::Close, code);
    return serverLink().ScadenzaStato;
  }
  /// In that sub-state the client looks at its link from now on, and does nothing.
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

// Something is spoiled behind an engine's back; the next steps tell.
struct Spoiled {
  const char* name;
  void (*spoil)(Stage& on);
  const char* finding;
  int link = 1;
};

void PrintTo(const Spoiled& row, std::ostream* out) {
  *out << row.name;
}

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
       TextLedger::receiveBody(on.towardsClient(), "of a stranger");
       on.arrived({"\xA7", "text 7"});
     },
     "a text was delivered that nobody sent: text 7"},
    {"OrderAnew",
     [](Stage& on) {
       TextLedger::receiveBody(on.towardsClient(), "of a stranger");
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
       on.towardsClient().excuse(Cause::Damaged, 0);  // before the sockets were made: excuses nothing
       on.sent({"text 1", "text 2"}, 0);
       on.arrived({"text 2", "text 1"});
     },
     "a text was delivered out of order: text 1"},
};

class SpoiledEngines : public testing::TestWithParam<Spoiled> {};

TEST_P(SpoiledEngines, AreFoundOut) {
  World world(1);
  Host& client = world.addHost();
  Host& server = world.addHost();
  SiteObservations observations{world.time()};
  std::optional<recording::Finding> finding;
  for (Host* host : {&server, &client}) {
    host->makeWrapper = [&, host, number = host == &client ? 1 : 2] {
      return std::make_unique<EngineWatch>(observations, finding, number, 1, std::make_shared<HashedLines>(),
                                           &host->sockets);
    };
    host->start();
    world.run(1);
    host->quarn().Init("");
    host->quarn().Add("ABC", 5, host == &client, true);
    host->quarn().Apri(1);
  }
  world.run(30);
  ASSERT_TRUE(client.quarn().Connesso(1));
  ASSERT_FALSE(finding) << finding->text;
  Stage stage{client, server, observations.ledger};
  GetParam().spoil(stage);
  world.run(30);
  while (client.quarn().MessaggioArrivato(1)) client.quarn().GetMessaggioArrivato(1);
  ASSERT_TRUE(finding);
  EXPECT_EQ(finding->text, GetParam().finding);
  EXPECT_EQ(finding->link, GetParam().link);
  client.stop();
  server.stop();
}

INSTANTIATE_TEST_SUITE_P(Each, SpoiledEngines, testing::ValuesIn(kSpoiled),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(Memory, IsBoundedByWhatItHolds) {
  ConnectionRecord record;
  record.FrameInCorso.append(std::string(300'000, 'x'));
  record.UltimoLotto.assign(10'000, 'x');
  EXPECT_EQ(heldBeyondNeed(record), "");
  record.UltimoLotto.clear();
  EXPECT_EQ(heldBeyondNeed(record), "UltimoLotto holds too much memory");
}

TEST(AHash, DependsOnEveryMemberOfALine) {
  using namespace recording;
  const StepStart now{{1}, {}, false};
  const SocketId client{SocketArray::ClientSocket, 1};
  const Value yes = true, one = std::int16_t{1}, text = std::string("1");
  std::vector<Line> lines = {TickLine{},
                             EndLine{},
                             TickLine{now},
                             TickLine{{{1}, {}, true}},
                             TickLine{{{1}, 0, false}},
                             TickLine{{{1}, 1, false}},
                             NowLine{{1}, {}},
                             EventLine{now, EventKind::Connect, {}},
                             EventLine{now, EventKind::Accept, {}},
                             EventLine{now, EventKind::Accept, {}, 0, 1},
                             EventLine{now, EventKind::Accept, {}, 1},
                             EventLine{now, EventKind::Accept, {}, -1},
                             OperationLine{Operation::Close, client, {}},
                             OperationLine{Operation::Fetch, client, {}},
                             OperationLine{Operation::Close, {SocketArray::SrvAccept, 1}, {}},
                             OperationLine{Operation::Close, {SocketArray::ClientSocket, 2}, {}},
                             PropertyLine{Operation::State, client, 1},
                             PropertyLine{Operation::LocalPort, client, 1},
                             FailedLine{Operation::State, client, 1, ""},
                             FailedLine{Operation::Close, client, 1, ""},
                             FailureLine{1, ""},
                             CallLine{now, findMethod("Apri"), {}},
                             CallLine{now, findMethod("Chiudi"), {}},
                             ResultLine{&yes},
                             ResultLine{&one},
                             ResultLine{&text}};
  std::string bytes(70, 'x');
  for (std::size_t size = 1; size <= bytes.size(); ++size) {
    lines.push_back(TraceLine{0, std::string_view(bytes).substr(0, size)});
  }
  std::set<std::uint64_t> hashes;
  const auto add = [&hashes](const Line& line) {
    HashedLines hashed;
    hashed.take(line);
    EXPECT_TRUE(hashes.insert(hashed.hash()).second) << hashes.size();
  };
  for (const Line& line : lines) add(line);
  for (char& byte : bytes) {
    byte = 'y';
    add(TraceLine{0, bytes});
  }
}

TEST(AFrame, IsJudgedByItsBytes) {
  const std::string good = frame(message(5, {"text", "9CMD", "9."}));
  EXPECT_EQ(flawOfFrame(good, 5), "");
  EXPECT_NE(flawOfFrame(good, 6), "");
  EXPECT_NE(flawOfFrame(good + good, 5), "");
  for (std::size_t i = 0; i < good.size(); ++i) {
    std::string flawed = good;
    flawed[i] = static_cast<char>(flawed[i] ^ 1);
    EXPECT_NE(flawOfFrame(flawed, 5), "") << i;
    EXPECT_NE(flawOfFrame(std::string_view(good).substr(0, i), 5), "") << i;
  }
  std::string miscounted = message(5, {"9QRY", "9."});
  ++miscounted[6];
  EXPECT_NE(flawOfFrame(frame(miscounted), 5), "");
}

}  // namespace
}  // namespace quarnex::simulation
