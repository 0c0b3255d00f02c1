// Measures in virtual time the rates of texts that docs/delivery.md states, and the growth of recordings that
// docs/operations.md states.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>

#include "quarnex/event_report.h"
#include "quarnex/times_and_limits.h"
#include "recording/format/line_writer.h"
#include "recording/recorder/quiet_lines.h"
#include "recording/recorder/recorder.h"
#include "services/compression.h"
#include "simulation/pair.h"
#include "support/test_files.h"

namespace quarnex::simulation {
namespace {

constexpr Milliseconds kAlways = 0;  // the host keeps texts queued
constexpr Milliseconds kNever = -1;
constexpr std::int64_t kSeconds = 20;

/// Sends a text each `pause` milliseconds and returns the number of texts received.
int turn(QuarnSocket& quarn, Milliseconds pause, Milliseconds elapsed) {
  while (pause == kAlways && quarn.snapshot(1).outbound < 40) quarn.Invia(1, "text");
  if (pause > 0 && elapsed % pause == 0) quarn.Invia(1, "text");
  int received = 0;
  while (quarn.MessaggioArrivato(1)) received += parseEventReport(quarn.GetMessaggioArrivato(1)) ? 0 : 1;
  return received;
}

struct Rates {
  const char* name;
  Milliseconds clientPause, serverPause;
  int toServer, toClient;  // texts a second
};

class RatesOfTexts : public testing::TestWithParam<Rates> {};

TEST_P(RatesOfTexts, AreThoseOfTheDocument) {
  Pair pair;
  pair.add();
  pair.server.quarn().Apri(1);
  pair.world.runMilliseconds(70);  // the two processes tick at different moments
  pair.client.quarn().Apri(1);
  ASSERT_TRUE(pair.connects());
  double toServer = 0, toClient = 0;
  for (Milliseconds elapsed = 0; elapsed < kSeconds * kSecond; elapsed += 50) {
    pair.world.runMilliseconds(50);
    toServer += turn(pair.server.quarn(), GetParam().serverPause, elapsed);
    toClient += turn(pair.client.quarn(), GetParam().clientPause, elapsed);
  }
  constexpr double kTolerance = 2.0;  // a batch may be under way at either end of the time
  EXPECT_NEAR(toServer / kSeconds, GetParam().toServer, kTolerance);
  EXPECT_NEAR(toClient / kSeconds, GetParam().toClient, kTolerance);
}

INSTANTIATE_TEST_SUITE_P(, RatesOfTexts,
                         testing::Values(Rates{"clientSends", kAlways, kNever, 50, 0},
                                         Rates{"serverSends", kNever, kAlways, 0, 100},
                                         Rates{"clientStarvesServer", 300, kAlways, 3, 0},
                                         Rates{"clientStarvesServerSlowly", 400, kAlways, 3, 0},
                                         Rates{"twoTextsASecond", 500, kAlways, 2, 20},
                                         Rates{"oneTextASecond", 1000, kAlways, 1, 60}),
                         [](const auto& rates) { return rates.param.name; });

struct Growth {
  const char* name;
  bool connected, polls;  // all methods without effect, after each turn of the loop
  double megabytesADay, compressed;
};

/// Compresses the lines as a recorder does that writes every five seconds.
class CompressedSink final : public recording::Sink {
 public:
  void write(std::string_view lines) override { waiting_ += lines; }
  void passOn() { EXPECT_EQ(storage_->writeAt(storage_->size(), std::exchange(waiting_, "")), 0); }
  std::uintmax_t bytes() const { return storage_->size(); }
  std::uintmax_t fileBytes() const { return storage_->fileBytes(); }

 private:
  TemporaryFolder folder_;
  std::unique_ptr<Storage> storage_ = compressed(createStorage(folder_.path() / "recording"));
  std::string waiting_;
};

class GrowthOfRecordings : public testing::TestWithParam<Growth> {};

TEST_P(GrowthOfRecordings, IsThatOfTheDocument) {
  Pair pair;
  const auto sink = std::make_shared<CompressedSink>();
  pair.server.makeWrapper = [&] {
    const auto elapsed = [&] { return std::chrono::milliseconds(pair.world.time().now()); };
    return std::make_unique<recording::ServicesRecorder>(
        std::make_shared<recording::QuietLines>(sink, elapsed));
  };
  pair.server.start();
  pair.add();
  pair.server.quarn().Apri(1);
  if (GetParam().connected) pair.client.quarn().Apri(1);
  const auto run = [&](int seconds) {
    for (int turn = 1; turn <= seconds * kSecond / kTickMilliseconds; ++turn) {
      pair.world.runMilliseconds(kTickMilliseconds);
      if (GetParam().polls) {
        Pair::take(pair.server);
        pair.server.quarn().Connesso(1);
        pair.server.quarn().ProntoPerUscire();
      }
      if (turn % 25 == 0) sink->passOn();
    }
  };
  run(60);
  ASSERT_EQ(pair.server.quarn().Connesso(1), GetParam().connected);
  const double before = static_cast<double>(sink->bytes()),
               fileBefore = static_cast<double>(sink->fileBytes());
  constexpr int kMeasuredSeconds = 1'200;
  run(kMeasuredSeconds);
  constexpr double kDays = kMeasuredSeconds / 86'400.0, kMega = 1e6;
  EXPECT_NEAR((static_cast<double>(sink->bytes()) - before) / kDays / kMega, GetParam().megabytesADay, 1);
  EXPECT_NEAR((static_cast<double>(sink->fileBytes()) - fileBefore) / kDays / kMega, GetParam().compressed,
              0.1);
}

INSTANTIATE_TEST_SUITE_P(, GrowthOfRecordings,
                         testing::Values(Growth{"ticks", false, false, 14.3, 0.5},
                                         Growth{"polls", false, true, 21, 0.6},
                                         Growth{"idleLink", true, false, 48, 1.4},
                                         Growth{"idleLinkAndPolls", true, true, 55, 1.4}),
                         [](const auto& growth) { return growth.param.name; });

}  // namespace
}  // namespace quarnex::simulation
