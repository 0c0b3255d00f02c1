// Records simulated hosts under faults: the recordings replay without a mismatch and give the same recordings
// again, and a shrunk recording shows the same problem as the long one.
#include "recording/shrinker/shrinker.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <iterator>
#include <memory>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "recording/player/player.h"
#include "recording/recorder/quiet_lines.h"
#include "recording/recorder/recorder.h"
#include "recording/shrinker/reproduction.h"
#include "simulation/faults/fault_plan.h"

namespace quarnex::recording {
namespace {

// One recording per engine of two hosts under a random plan of all faults.
std::vector<std::string> recordingsOf(std::uint64_t seed, bool quiet = false) {
  std::vector<std::shared_ptr<MemorySink>> sinks;
  simulation::World world(seed);
  simulation::Site site(world, 1, 2);
  simulation::FaultPlan faults(site, world.random(), *simulation::faultsNamed("generation-4"));
  for (const auto& place : site.places()) {
    place->host().makeWrapper = [&] {
      sinks.push_back(std::make_shared<MemorySink>());
      if (!quiet) return std::make_unique<ServicesRecorder>(sinks.back());
      return std::make_unique<ServicesRecorder>(std::make_shared<QuietLines>(sinks.back()));
    };
    place->setTraffic(3'000);
  }
  site.start();
  simulation::Host& first = site.places().front()->host();
  first.faults.choose = [](const ServiceCall&) { return simulation::OperationFault(); };
  EXPECT_THROW(first.quarn().AttivaLog(), Failure);
  first.faults.choose = nullptr;
  faults.begin();
  world.run(1'200);
  faults.end();
  std::vector<std::string> texts;
  texts.reserve(sinks.size());
  for (const auto& sink : sinks) texts.push_back(sink->text());
  return texts;
}

const MakeChecker kNothingChecked = [](auto sink) { return std::make_unique<NullChecker>(std::move(sink)); };

std::string recordedAgain(const std::string& text) {
  std::istringstream in(text);
  RecordingReader reader(in);
  StepReader steps(reader, SIZE_MAX);
  Reproduction reproduction(reader.utcOffset(), kNothingChecked);
  std::string again = reproduction.header();
  for (RecordedStep step; steps.next(step);) again += reproduction.replay(step);
  return again;
}

TEST(Recorder, RecordingsOfHostsUnderFaultsReplayWithoutAMismatch) {
  std::istringstream words(
      R"("nested":true "now" "utc_offset" "failed":"state" "failed":"attach" "failed":"bytesWaiting" "failure"
         "property" "fetched" "Accept" "createLog" "code":10054 "idle_calls")");
  std::set<std::string> unseen{std::istream_iterator<std::string>(words), {}};
  for (std::uint64_t seed = 1; seed <= 6; ++seed) {
    for (const std::string& text : recordingsOf(seed, seed > 4)) {
      std::istringstream in(text);
      RecordingReader reader(in);
      const ReplayResult result = replay(reader);
      ASSERT_FALSE(result.mismatch) << "seed " << seed << "\n" << reportOf(*result.mismatch);
      ASSERT_FALSE(result.damage) << "seed " << seed << ": " << result.damage->what();
      ASSERT_TRUE(seed > 4 || recordedAgain(text) == text) << "seed " << seed;
      std::erase_if(unseen, [&](const auto& word) { return text.find(word) != text.npos; });
    }
  }
  EXPECT_EQ(unseen, std::set<std::string>());
}

constexpr std::size_t kStepsMax = 50;
// Reports a connected link with three texts in the given queue.
class QueueChecker final : public Checker {
 public:
  QueueChecker(std::shared_ptr<Sink> sink, TextBuffer ConnectionRecord::*queue)
      : plain_(std::move(sink)), queue_(queue) {}
  Services wrap(const Services& services) override { return plain_.wrap(services); }
  void watch(Library& library) override {
    library_ = &library;
    plain_.watch(library);
  }
  std::optional<Finding> finding() override {
    for (std::int16_t link = 1; link <= library_->ConnectionCount && !found_; ++link) {
      const ConnectionRecord& record = library_->ConnectionTable[link];
      if (record.Stato == kConnected && (record.*queue_).Count >= 3)
        found_ = {0, 0, link, "three texts wait"};
    }
    return found_;
  }

 private:
  NullChecker plain_;
  TextBuffer ConnectionRecord::*queue_;
  Library* library_ = nullptr;
  std::optional<Finding> found_;
};

ShrinkResult shrinkText(const std::string& text, const MakeChecker& makeChecker = kNothingChecked) {
  std::istringstream in(text);
  return shrink(in, makeChecker);
}

Problem problemIn(const std::string& text, const MakeChecker& makeChecker = kNothingChecked) {
  std::istringstream in(text);
  return findProblem(in, makeChecker);
}

// Links and socket instances may have new numbers.
std::string withoutNumbers(std::string line) {
  std::erase_if(line, [](char byte) { return byte >= '0' && byte <= '9'; });
  return line;
}

TEST(Shrinker, PreservesAMismatch) {
  const struct {
    std::string output;  // the last occurrence is replaced
    std::string other;   // by this output, which no engine would produce there
  } alterations[] = {
      {"\"did\":\"connect\"", "\"did\":\"listen\""},
      {"\"did\":\"setLocalPort\"", "\"did\":\"setRemotePort\""},
      {"{\"sent\":\"", "{\"sent\":\"?"},
      {"|9ACK|", "|9NAK|"},
      {"X000E0702", "X000E0992"},
      {"\"text\":\"R>", "\"text\":\"R?"},
      {"\"result\":true", "\"result\":false"},
      {"\"result\":\"text ", "\"result\":\"texts "},
      {"{\"trace\":2", "{\"end\":true}\n{\"trace\":2"},
  };
  for (const auto& [output, other] : alterations) {
    SCOPED_TRACE(other);
    std::string text;
    std::size_t at = text.npos;
    for (std::uint64_t seed = 1; at == text.npos; ++seed) {
      text = recordingsOf(seed).back();
      at = text.rfind(output);
    }
    const ShrinkResult result = shrinkText(text.replace(at, output.size(), other));
    ASSERT_TRUE(result.problem.mismatch);
    EXPECT_LE(result.stepsAfter, kStepsMax);
    const Problem after = problemIn(result.recording);
    ASSERT_TRUE(after.mismatch);
    EXPECT_EQ(withoutNumbers(after.mismatch->expected.text),
              withoutNumbers(result.problem.mismatch->expected.text));
    EXPECT_EQ(withoutNumbers(after.mismatch->actual), withoutNumbers(result.problem.mismatch->actual));
  }
}

TEST(Shrinker, PreservesAFinding) {
  for (const auto queue : {&ConnectionRecord::CodaInvio, &ConnectionRecord::CodaArrivo}) {
    const MakeChecker checksQueue = [=](auto sink) { return std::make_unique<QueueChecker>(sink, queue); };
    int found = 0;
    for (std::uint64_t seed = 1; seed <= 6; ++seed) {
      for (const std::string& text : recordingsOf(seed, seed > 4)) {
        const ShrinkResult result = shrinkText(text, checksQueue);
        if (!result.problem.found()) continue;
        ++found;
        const RemovedSteps& removed = result.removed;
        EXPECT_LE(result.stepsAfter, kStepsMax);
        EXPECT_EQ(result.stepsBefore - result.stepsAfter,
                  removed.ofOtherLinks + removed.withoutEffect + removed.repetitions + removed.others);
        EXPECT_EQ(problemIn(result.recording, checksQueue).finding->text, "three texts wait");
        EXPECT_FALSE(problemIn(result.recording).found());
      }
    }
    EXPECT_GE(found, 4);
  }
}

TEST(Shrinker, ReturnsNoRecordingWithoutAProblem) {
  const std::string text = recordingsOf(1).front();
  EXPECT_EQ(shrinkText(text).recording, "");
  const ShrinkResult cut = shrinkText(text.substr(0, text.size() - 1));
  EXPECT_FALSE(cut.problem.found());
  EXPECT_TRUE(cut.problem.damage);
}

}  // namespace
}  // namespace quarnex::recording
