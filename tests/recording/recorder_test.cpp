// Whatever befalls hosts that are recorded, every recording plays without a difference.
#include "recording/recorder.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "platform/simulated/trouble.h"
#include "recording/player.h"
#include "recording/services_recorder.h"

namespace quarnex::simulated {
namespace {

// Of two hosts that live through a drawn mix of all faults, one for each engine that ran.
std::vector<std::string> recordingsOf(std::uint64_t seed) {
  std::vector<std::shared_ptr<recording::MemorySink>> sinks;
  World world(seed);
  Site site(world, 1, 2);
  Trouble trouble(site, world.random());
  for (const auto& place : site.places()) {
    place->host().makeWrapper = [&] {
      sinks.push_back(std::make_shared<recording::MemorySink>());
      return std::make_unique<recording::ServicesRecorder>(sinks.back());
    };
    place->setTraffic(3'000);
  }
  site.start();
  Host& first = site.places().front()->host();
  first.faults.failNth(Operation::CreateLog, 1);
  EXPECT_THROW(first.quarn().AttivaLog(), Failure);
  trouble.begin();
  world.run(1'200);
  trouble.end();
  std::vector<std::string> texts;
  for (const auto& sink : sinks) texts.push_back(sink->text());
  return texts;
}

TEST(Recorder, WritesWhatPlaysWithoutADifference) {
  std::map<std::string, int> seen;
  for (const char* word : {"\"nested\":true", "\"now\"", "\"utc_offset\"", "\"failed\":\"state\"",
                           "\"failed\":\"attach\"", "\"failed\":\"bytesWaiting\"", "\"failure\"",
                           "\"property\"", "\"fetched\"", "\"Accept\"", "\"createLog\"", "\"code\":10054"})
    seen[word] = 0;
  for (std::uint64_t seed = 1; seed <= 8; ++seed) {
    for (const std::string& text : recordingsOf(seed)) {
      std::istringstream in(text);
      recording::RecordingReader reader(in);
      const recording::PlayResult result = recording::play(reader);
      ASSERT_FALSE(result.difference) << "seed " << seed << "\n" << recording::reportOf(*result.difference);
      ASSERT_FALSE(result.damage) << "seed " << seed << ": " << result.damage->what();
      for (auto& [word, recordings] : seen) recordings += text.find(word) != text.npos ? 1 : 0;
    }
  }
  for (const auto& [word, recordings] : seen) EXPECT_GE(recordings, 1) << word;
}

}  // namespace
}  // namespace quarnex::simulated
