// Measures in virtual time the rates of texts that docs/delivery.md states, and the growth of recordings that
// docs/operations.md states.
#include <gtest/gtest.h>

#include <memory>

#include "quarnex/event_report.h"
#include "quarnex/times_and_limits.h"
#include "recording/format/line_writer.h"
#include "recording/recorder/recorder.h"
#include "simulation/pair.h"

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
  bool connected;
  bool pollsItems, pollsConnesso;  // after each turn of the loop
  double megabytesADay;
};

class GrowthOfRecordings : public testing::TestWithParam<Growth> {};

TEST_P(GrowthOfRecordings, IsThatOfTheDocument) {
  constexpr std::int64_t kMeasuredSeconds = 45;  // a server listens longer
  Pair pair;
  const auto file = std::make_shared<recording::MemorySink>();
  pair.server.makeWrapper = [&] { return std::make_unique<recording::ServicesRecorder>(file); };
  pair.server.start();
  pair.add();
  pair.server.quarn().Apri(1);
  if (GetParam().connected) pair.client.quarn().Apri(1);
  pair.world.run(14);
  ASSERT_EQ(pair.server.quarn().Connesso(1), GetParam().connected);
  file->clear();
  for (int turn = 0; turn < 5 * kMeasuredSeconds; ++turn) {
    pair.world.runMilliseconds(kTickMilliseconds);
    if (GetParam().pollsItems) pair.server.quarn().MessaggioArrivato(1);
    if (GetParam().pollsConnesso) pair.server.quarn().Connesso(1);
  }
  const double bytesADay = static_cast<double>(file->text().size()) / kMeasuredSeconds * 86'400;
  EXPECT_NEAR(bytesADay / 1e6, GetParam().megabytesADay, 2);
}

INSTANTIATE_TEST_SUITE_P(, GrowthOfRecordings,
                         testing::Values(Growth{"ticks", false, false, false, 13},
                                         Growth{"idleLink", true, false, false, 13 + 34},
                                         Growth{"pollForItems", true, true, false, 13 + 34 + 33},
                                         Growth{"pollConnesso", true, true, true, 13 + 34 + 33 + 28}),
                         [](const auto& growth) { return growth.param.name; });

}  // namespace
}  // namespace quarnex::simulation
