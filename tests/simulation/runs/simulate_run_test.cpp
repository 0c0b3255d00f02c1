// Simulates whole runs: fixed seeds keep their recordings, recordings replay, and no rule is broken.
#include "simulation/runs/simulate_run.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <string>

#include "recording/player/player.h"
#include "simulation/checks/independent/stream_hash.h"
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
                         testing::Values(SeededRun{2, 0x98680cf59ec83f85}, SeededRun{3, 0xda6a10b079498192},
                                         SeededRun{8, 0x341fba13888f018a}, SeededRun{19, 0xf8a31426c46cfd85},
                                         SeededRun{1, 0x115f4a43b6475bce, 500, 5'000}),
                         [](const auto& row) { return std::to_string(row.param.seed); });

class SimulatedRun : public testing::TestWithParam<std::uint64_t> {};

TEST_P(SimulatedRun, BreaksNoRuleUnderAnyFault) {
  const RunResult result = simulate(planOf(GetParam()));
  EXPECT_FALSE(result.finding) << result.finding->text;
}

INSTANTIATE_TEST_SUITE_P(OfSeed, SimulatedRun, testing::Range<std::uint64_t>(20, 26),
                         testing::PrintToStringParamName());

TEST(RecordedRun, RepeatsExactlyAndItsRecordingsReplay) {
  RunPlan plan = planOf(5);
  plan.faults = *faultsNamed("generation-4");
  plan.faultTime = kHour / 2;
  const RunResult plain = simulate(plan);
  const TemporaryFolder folder;
  plan.recordDirectory = folder.path();
  const RunResult recorded = simulate(plan);
  EXPECT_EQ(recorded.hash, plain.hash);
  EXPECT_TRUE(recorded.recordingsWhole);
  std::uint64_t files = 0, bytes = 0;
  for (const auto& file : std::filesystem::directory_iterator(*plan.recordDirectory)) {
    std::istringstream text(contentOf(file.path()));
    recording::RecordingReader reader(text);
    const auto replayed = recording::replay(reader);
    EXPECT_FALSE(replayed.mismatch || replayed.damage) << file.path();
    ++files;
    StreamHash hash;
    hash.add(file.path().filename().string() + text.str());
    bytes ^= hash.value();
  }
  EXPECT_EQ(bytes, 0x4c8f78be160848c5) << "with every compiler, with and without sanitizers";
  EXPECT_EQ(files, recorded.engines);
}

TEST(RecordedRun, IsRecordedAgainIntoANewFolderAfterARunThatWasEnded) {
  const TemporaryFolder place;
  RunPlan plan = planOf(5);
  plan.goesOn = [](Milliseconds passed) { return passed < 2 * kMinute; };
  const RunResult ended = simulate(plan);
  EXPECT_FALSE(ended.complete || ended.finding);
  EXPECT_EQ(ended.duration, 2 * kMinute);
  EXPECT_GT(ended.texts.sent, 0U);
  plan.faultTime = kSecond;
  for (const char* name : {"quarn-simulate-5", "quarn-simulate-5-2", "quarn-simulate-5-3"}) {
    const std::filesystem::path folder = recordAgain(plan, place.path());
    EXPECT_EQ(folder, place.path() / name);
    EXPECT_GT(std::filesystem::file_size(folder / "host4-1.jsonl"), 0U);
  }
  EXPECT_THROW(recordAgain(plan, place.path() / "nowhere"), std::runtime_error);
}

}  // namespace
}  // namespace quarnex::simulation
