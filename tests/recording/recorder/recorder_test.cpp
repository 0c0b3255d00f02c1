// Tests that recordings of hosts under faults replay without a mismatch, and record the same again.
#include "recording/recorder/recorder.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <memory>
#include <sstream>
#include <string>

#include "recording/hosts_under_faults.h"
#include "recording/player/player.h"
#include "recording/shrinker/reproduction.h"

namespace quarnex::simulation {
namespace {

std::string recordedAgain(const std::string& text) {
  std::istringstream in(text);
  recording::RecordingReader reader(in);
  recording::StepReader steps(reader, SIZE_MAX);
  recording::Reproduction reproduction(
      reader.utcOffset(), [](auto sink) { return std::make_unique<recording::NullChecker>(sink); });
  std::string again = reproduction.header();
  for (recording::RecordedStep step; steps.next(step);) again += reproduction.replay(step);
  return again;
}

TEST(Recorder, RecordingsOfHostsUnderFaultsReplayWithoutAMismatch) {
  std::map<std::string, int> seen;
  for (const char* word : {"\"nested\":true", "\"now\"", "\"utc_offset\"", "\"failed\":\"state\"",
                           "\"failed\":\"attach\"", "\"failed\":\"bytesWaiting\"", "\"failure\"",
                           "\"property\"", "\"fetched\"", "\"Accept\"", "\"createLog\"", "\"code\":10054"})
    seen[word] = 0;
  for (std::uint64_t seed = 1; seed <= 8; ++seed) {
    for (const std::string& text : recordingsOf(seed)) {
      std::istringstream in(text);
      recording::RecordingReader reader(in);
      const recording::ReplayResult result = recording::replay(reader);
      ASSERT_FALSE(result.mismatch) << "seed " << seed << "\n" << recording::reportOf(*result.mismatch);
      ASSERT_FALSE(result.damage) << "seed " << seed << ": " << result.damage->what();
      ASSERT_TRUE(recordedAgain(text) == text) << "seed " << seed;
      for (auto& [word, recordings] : seen) recordings += text.find(word) != text.npos ? 1 : 0;
    }
  }
  for (const auto& [word, recordings] : seen) EXPECT_GE(recordings, 1) << word;
}

}  // namespace
}  // namespace quarnex::simulation
