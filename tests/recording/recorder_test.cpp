// Whatever happens to hosts that are recorded, every recording plays without a difference.
#include "recording/recorder.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "recording/player.h"
#include "recording/services_recorder.h"
#include "simulation/pair.h"

namespace quarnex::simulated {
namespace {

using recording::MemorySink;

// A quarter of an hour in which everything happens to two hosts, drawn from a seed.
class Life {
 public:
  explicit Life(std::uint64_t seed) : pair_(seed, 2), random_(pair_.world.random()) {
    for (Host* host : {&pair_.server, &pair_.client}) {
      host->makeWrapper = [this] {
        recordings.push_back(std::make_shared<MemorySink>());
        return std::make_unique<recording::ServicesRecorder>(recordings.back());
      };
      host->faults.insideDepthMax = 3;
      host->faults.judge = [this](const OperationCall& call) { return fault(call); };
      host->faults.inside = [this, host](const OperationCall&) {
        if (random_.chance(30)) host->turn();
      };
    }
  }

  void run() {
    for (Host* host : {&pair_.server, &pair_.client}) restart(*host);
    for (int round = 0; round < 150; ++round) {
      act(random_.chance(500) ? pair_.server : pair_.client);
      pair_.world.runMilliseconds(random_.between(0, 12'000));
    }
  }

  std::vector<std::shared_ptr<MemorySink>> recordings;

 private:
  std::optional<OperationFault> fault(const OperationCall& call) {
    if (!random_.chance(call.operation == Operation::CreateLog ? 300 : 3)) return std::nullopt;
    return OperationFault{10055, "No buffer space \xFF\x02\"", random_.chance(500)};
  }
  void restart(Host& host) {
    host.start();
    host.quarn().Init("");
    for (const std::int16_t id : {std::int16_t{1}, std::int16_t{2}})
      host.quarn().Apri(host.quarn().Add("ABC", id, &host == &pair_.client, true));
  }
  void act(Host& host) {
    const auto link = static_cast<std::int16_t>(1 + random_.below(2));
    const Milliseconds jump = random_.between(-100'000, 100'000);
    switch (random_.below(11)) {
      case 0:
        return host.clock.jump(jump);
      case 1:
        return host.clock.jumpAfterReadings(random_.below(50), jump);
      case 2:
        return host.clock.setUtcOffset(3600 * static_cast<std::int32_t>(random_.below(3)), host.clock.now());
      case 3:
        for (const auto& connection : pair_.world.network().connections()) connection->cutBoth(10054);
        return;
      case 4:
        return toggleLog(host);
      case 5:
        host.quarn().Chiudi(link);
        return host.quarn().Apri(link);
      case 6:
        return random_.chance(100) ? restart(host) : void(Pair::take(host, link));
      default:
        return host.quarn().Invia(link, std::string(random_.below(300), '\x7F'));
    }
  }
  void toggleLog(Host& host) {
    try {
      host.quarn().AttivaLog();
      host.quarn().DisattivaLog(static_cast<std::int16_t>(random_.below(3)));
    } catch (const Failure&) {  // recorded, too
    }
  }

  Pair pair_;
  Random random_;
};

// How often the text holds each of the words that make a recording worth playing.
void count(const std::string& text, std::map<std::string, int>& words) {
  for (auto& [word, times] : words) {
    for (std::size_t at = text.find(word); at != text.npos; at = text.find(word, at + 1)) ++times;
  }
}

TEST(Recorder, WritesWhatPlaysWithoutADifference) {
  std::map<std::string, int> words;
  for (const char* word : {"\"nested\":true", "\"now\"", "\"utc_offset\"", "\"failed\":\"state\"",
                           "\"failed\":\"send\"", "\"failed\":\"bytesWaiting\"", "\"failure\"",
                           "\"property\"", "\"fetched\"", "\"Accept\"", "\"createLog\"", "\"code\":10054"})
    words[word] = 0;
  for (std::uint64_t seed = 1; seed <= 10; ++seed) {
    Life life(seed);
    life.run();
    for (const auto& sink : life.recordings) {
      std::istringstream in(sink->text());
      recording::RecordingReader reader(in);
      const recording::PlayResult result = recording::play(reader);
      ASSERT_FALSE(result.difference) << "seed " << seed << "\n" << recording::reportOf(*result.difference);
      ASSERT_FALSE(result.damage) << "seed " << seed << ": " << result.damage->what();
      count(sink->text(), words);
    }
  }
  for (const auto& [word, times] : words) EXPECT_GE(times, 10) << word;
}

}  // namespace
}  // namespace quarnex::simulated
