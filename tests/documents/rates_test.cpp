// Measures in virtual time the rates of texts between two processes that docs/delivery.md states.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>

#include "quarnex/event_report.h"
#include "simulation/sites/world.h"

namespace quarnex::simulation {
namespace {

constexpr Milliseconds kAlways = 0;  // the host keeps texts queued
constexpr Milliseconds kNever = -1;
constexpr Milliseconds kStep = 50;
constexpr std::int64_t kSeconds = 20;

/// One end of the link: sends a text each `pause` milliseconds and counts the texts that it receives.
struct End {
  Host& host;
  std::int16_t link;
  Milliseconds pause;
  int received = 0;

  void turn(Milliseconds elapsed) {
    QuarnSocket& quarn = host.quarn();
    while (pause == kAlways && quarn.snapshot(link).outbound < 40) quarn.Invia(link, "text");
    if (pause > 0 && elapsed % pause == 0) quarn.Invia(link, "text");
    while (quarn.MessaggioArrivato(link)) {
      if (!parseEventReport(quarn.GetMessaggioArrivato(link))) ++received;
    }
  }
};

struct Rates {
  const char* name;
  Milliseconds clientPause, serverPause;
  int toServer, toClient;  // texts a second
};

class RatesOfTexts : public testing::TestWithParam<Rates> {};

TEST_P(RatesOfTexts, AreThoseOfTheDocument) {
  World world{1};
  Host& serverHost = world.addHost();
  Host& clientHost = world.addHost();
  End server{serverHost, serverHost.quarn().Add("ABC", 1, false, true), GetParam().serverPause};
  End client{clientHost, clientHost.quarn().Add("ABC", 1, true, true), GetParam().clientPause};
  server.host.quarn().Apri(server.link);
  world.runMilliseconds(70);  // the two processes tick at different moments
  client.host.quarn().Apri(client.link);
  const auto connected = [&] { return client.host.quarn().Connesso(client.link); };
  ASSERT_TRUE(world.runUntil(connected, 60));
  for (Milliseconds elapsed = 0; elapsed < kSeconds * 1000; elapsed += kStep) {
    world.runMilliseconds(kStep);
    server.turn(elapsed);
    client.turn(elapsed);
  }
  constexpr double kTolerance = 2.0;  // a batch may be under way at either end of the time
  EXPECT_NEAR(static_cast<double>(server.received) / kSeconds, GetParam().toServer, kTolerance);
  EXPECT_NEAR(static_cast<double>(client.received) / kSeconds, GetParam().toClient, kTolerance);
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
