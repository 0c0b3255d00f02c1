// Whole lives of a site under audit: fixed seeds hold, recordings replay, and what must not be is noticed.
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "component/method_table.h"
#include "platform/simulated/site.h"
#include "platform/simulated/wire_format.h"
#include "recording/player.h"
#include "simulation/auditor.h"
#include "simulation/frame_check.h"
#include "simulation/hashed_lines.h"
#include "simulation/heap_bound.h"
#include "simulation/invariants.h"
#include "simulation/pair.h"
#include "simulation/record_again.h"
#include "simulation/simulate_run.h"
#include "simulation/stream_hash.h"
#include "support/temporary_folder.h"

namespace quarnex::simulation {
namespace {

using simulated::wire::frame;
using simulated::wire::message;

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
  simulated::Milliseconds trouble = 3'600'000;
};

class Lives : public testing::TestWithParam<Life> {};

TEST_P(Lives, HoldWhatMustHold) {
  RunPlan plan = planOf(GetParam().seed);
  plan.links = GetParam().links;
  plan.trouble = GetParam().trouble;
  const RunResult result = simulate(plan);
  EXPECT_FALSE(result.finding) << result.finding->text;
  EXPECT_GT(result.textsDelivered, 0U);
  EXPECT_EQ(result.hash, GetParam().hash) << std::hex << result.hash << " if the simulation was changed";
}

INSTANTIATE_TEST_SUITE_P(Seeds, Lives,
                         testing::Values(Life{2, 0xfa338ffb46ed5b5a}, Life{3, 0x5fe711784e2177bf},
                                         Life{8, 0x7646735bead121f8}, Life{19, 0xb3237ef380be2c93},
                                         Life{1, 0x423769c08e4abd08, simulated::kLinksMax, 5'000}),
                         [](const auto& row) { return std::to_string(row.param.seed); });

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
    const auto played = recording::play(reader);
    EXPECT_FALSE(played.difference || played.damage) << file.path();
    ++files;
    StreamHash hash;
    hash.add(file.path().filename().string() + text);
    bytes ^= hash.value();
  }
  EXPECT_EQ(bytes, 0xd76814b6b2cfc6f2) << "on every compiler, with and without sanitizers";
  EXPECT_EQ(files, recorded.engines);
  EXPECT_NE(simulate(planOf(6)).hash, plain.hash);
}

TEST(ALife, IsRecordedAgainIntoAFreshFolder) {
  const TemporaryFolder place;
  RunPlan plan = planOf(5);
  plan.trouble = 1'000;
  for (const char* name : {"quarn-simulate-5", "quarn-simulate-5-2", "quarn-simulate-5-3"}) {
    const std::filesystem::path folder = recordAgain(plan, place.path());
    EXPECT_EQ(folder, place.path() / name);
    EXPECT_GT(std::filesystem::file_size(folder / "host4-1.jsonl"), 0U);
  }
  EXPECT_THROW(recordAgain(plan, place.path() / "nowhere"), std::runtime_error);
}

// Something is spoiled behind an engine's back; the next steps tell.
struct Spoiled {
  const char* name;
  void (*spoil)(Library& library, TextLedger& ledger);
  const char* finding;
};

void PrintTo(const Spoiled& row, std::ostream* out) {
  *out << row.name;
}

constexpr Spoiled kSpoiled[] = {
    {"Phase", [](Library& library, TextLedger&) { library.ConnectionTable[1].Stato = 2; },
     "Stato is neither 1 nor 17"},
    {"Guard",
     [](Library& library, TextLedger&) { library.ConnectionTable[1].InEsecuzione = kHandlerRunning; },
     "InEsecuzione was left running"},
    {"Queue", [](Library& library, TextLedger&) { library.ConnectionTable[1].CodaArrivo.Capacity = 6000; },
     "CodaArrivo is out of shape"},
    {"KeepAlive", [](Library& library, TextLedger&) { library.ConnectionTable[1].ScadenzaAlive = {1}; },
     "the keep-alive expired early"},
    {"Identifier", [](Library& library, TextLedger&) { library.ConnectionTable[1].IdQuarn = 6; },
     "a message has another link's identifier"},
    {"Report", [](Library& library, TextLedger&) { library.ConnectionTable[1].NonRispondeSegnalato = true; },
     "112 without 109"},
    {"Text",
     [](Library& library, TextLedger&) { BufferPut(library.ConnectionTable[1].CodaArrivo, "text 7"); },
     "a text was delivered that nobody sent: text 7"},
    {"Loss",
     [](Library& library, TextLedger& ledger) {
       for (const char* text : {"text 1", "text 2"}) ledger.send(ledger.course({1, 5, false}), text, 31'000);
       BufferPut(library.ConnectionTable[1].CodaArrivo, "text 2");
     },
     "texts were lost or doubled without a cause"},
    {"Order",
     [](Library& library, TextLedger& ledger) {
       Course& course = ledger.course({1, 5, false});
       course.happened(Cause::Damaged, 0);  // before the sockets were made, so that it excuses nothing
       for (const char* text : {"text 1", "text 2"}) ledger.send(course, text);
       for (const char* text : {"text 2", "text 1"}) BufferPut(library.ConnectionTable[1].CodaArrivo, text);
     },
     "a text was delivered out of order: text 1"},
};

class SpoiledEngines : public testing::TestWithParam<Spoiled> {};

TEST_P(SpoiledEngines, AreFoundOut) {
  simulated::World world(1);
  simulated::Host& client = world.addHost();
  simulated::Host& server = world.addHost();
  Audit audit{world.time()};
  for (simulated::Host* host : {&server, &client}) {
    host->makeWrapper = [&audit, number = host == &client ? 1 : 2] {
      return std::make_unique<Auditor>(audit, number, 1, std::make_shared<HashedLines>());
    };
    host->start();
    world.run(1);
    host->quarn().Init("");
    host->quarn().Add("ABC", 5, host == &client, true);
    host->quarn().Apri(1);
  }
  world.run(30);
  ASSERT_TRUE(client.quarn().Connesso(1));
  ASSERT_FALSE(audit.findings.first()) << audit.findings.first()->text;
  GetParam().spoil(client.library(), audit.ledger);
  world.run(3);
  while (client.quarn().MessaggioArrivato(1)) client.quarn().GetMessaggioArrivato(1);
  ASSERT_TRUE(audit.findings.first());
  EXPECT_EQ(audit.findings.first()->text, GetParam().finding);
  EXPECT_EQ(audit.findings.first()->link, 1);
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

TEST(AHash, SeesEveryPartOfALine) {
  using recording::LineKind;
  using recording::LineParts;
  const Value yes = true, one = std::int16_t{1}, text = std::string("1");
  std::vector<LineParts> lines = {{},
                                  {.kind = LineKind::Tick},
                                  {.nested = true},
                                  {.event = recording::EventKind::Accept},
                                  {.operation = recording::Operation::Fetch},
                                  {.property = recording::Property::LocalPort},
                                  {.socket = {SocketArray::SrvAccept, 0}},
                                  {.socket = {SocketArray::ClientSocket, 1}},
                                  {.number = -1},
                                  {.number = 1},
                                  {.handle = 1},
                                  {.at = {1}},
                                  {.utcOffset = 0},
                                  {.utcOffset = 1},
                                  {.method = findMethod("Apri")},
                                  {.method = findMethod("Chiudi")},
                                  {.values = {&yes, 1}},
                                  {.values = {&one, 1}},
                                  {.values = {&text, 1}}};
  std::string bytes(70, 'x');
  for (std::size_t size = 1; size <= bytes.size(); ++size) {
    lines.push_back({.text = std::string_view(bytes).substr(0, size)});
  }
  std::set<std::uint64_t> hashes;
  const auto add = [&hashes](const LineParts& line) {
    HashedLines hashed;
    hashed.take(line);
    EXPECT_TRUE(hashes.insert(hashed.hash()).second) << hashes.size();
  };
  for (const LineParts& line : lines) add(line);
  for (char& byte : bytes) {
    byte = 'y';
    add({.text = bytes});
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
