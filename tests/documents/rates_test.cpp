// Measures in virtual time the rates of texts between two processes that docs/delivery.md states.
#include <gtest/gtest.h>

#include "quarnex/event_report.h"
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
                                         Rates{"twoTextsASecond", 500, kAlways, 2, 20},
                                         Rates{"oneTextASecond", 1000, kAlways, 1, 60}),
                         [](const auto& rates) { return rates.param.name; });

}  // namespace
}  // namespace quarnex::simulation
