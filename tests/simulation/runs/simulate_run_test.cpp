// Simulates whole runs: fixed seeds keep their recordings, recordings replay, and no rule is broken.
#include "simulation/runs/simulate_run.h"

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

#include "host/method_table.h"
#include "quarnex/times_and_limits.h"
#include "recording/player/player.h"
#include "simulation/checks/independent/stream_hash.h"
#include "simulation/runs/hashed_lines.h"
#include "support/test_files.h"

namespace quarnex::simulation {
namespace {

RunPlan planOf(std::uint64_t seed) {
  RunPlan plan;
  plan.seed = seed;
  plan.links = 3;
  return plan;
}

struct SeededRun {
  std::uint64_t seed;
  std::uint64_t hash;  // of the recordings, with every compiler, with and without sanitizers
  int links = 3;
  Milliseconds faultTime = kHour;
};

class SeededRuns : public testing::TestWithParam<SeededRun> {};

TEST_P(SeededRuns, BreakNoRuleAndKeepTheirRecordings) {
  RunPlan plan = planOf(GetParam().seed);
  plan.links = GetParam().links;
  plan.faultTime = GetParam().faultTime;
  plan.faults = *faultsNamed("generation-1");
  const RunResult result = simulate(plan);
  EXPECT_FALSE(result.finding) << result.finding->text;
  EXPECT_GT(result.texts.of(Arrival::New), 0U);
  EXPECT_EQ(result.hash, GetParam().hash) << std::hex << result.hash << " if the simulation was changed";
}

INSTANTIATE_TEST_SUITE_P(Seeds, SeededRuns,
                         testing::Values(SeededRun{2, 0x98680cf59ec83f85}, SeededRun{3, 0x835f29b768ffc7c7},
                                         SeededRun{8, 0xd613d8d80dcb8fa}, SeededRun{19, 0xf12e95f5c845be8a},
                                         SeededRun{1, 0x3a5b301d5234b39c, kLinksMax, 5'000}),
                         [](const auto& row) { return std::to_string(row.param.seed); });

TEST(SimulatedRun, BreaksNoRuleUnderAnyFault) {
  for (std::uint64_t seed = 20; seed < 30; ++seed) {
    const RunResult result = simulate(planOf(seed));
    EXPECT_FALSE(result.finding) << seed << ": " << result.finding->text;
  }
}

TEST(SimulatedRun, RepeatsExactlyAndItsRecordingsReplay) {
  RunPlan plan = planOf(5);
  plan.faults = *faultsNamed("generation-4");
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
  EXPECT_EQ(bytes, 0x7b51ddc014fcc980) << "with every compiler, with and without sanitizers";
  EXPECT_EQ(files, recorded.engines);
  plan.seed = 6;
  EXPECT_NE(simulate(plan).hash, plain.hash);
}

TEST(SimulatedRun, IsRecordedAgainIntoANewFolder) {
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

}  // namespace
}  // namespace quarnex::simulation
