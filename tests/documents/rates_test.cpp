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

TEST(RatesOfTexts, AreThoseOfTheDocument) {
  const struct {
    const char* name;
    Milliseconds clientPause, serverPause;
    int toServer, toClient;  // texts a second
  } rows[] = {
      {"client sends", kAlways, kNever, 50, 0},      {"server sends", kNever, kAlways, 0, 100},
      {"client starves server", 300, kAlways, 3, 0}, {"client starves server slowly", 400, kAlways, 3, 0},
      {"two texts a second", 500, kAlways, 2, 20},   {"one text a second", 1000, kAlways, 1, 60},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    Pair pair;
    pair.add();
    pair.server.quarn().Apri(1);
    pair.world.runMilliseconds(70);  // the two processes tick at different moments
    pair.client.quarn().Apri(1);
    ASSERT_TRUE(pair.connects());
    double toServer = 0, toClient = 0;
    for (Milliseconds elapsed = 0; elapsed < kSeconds * kSecond; elapsed += 50) {
      pair.world.runMilliseconds(50);
      toServer += turn(pair.server.quarn(), row.serverPause, elapsed);
      toClient += turn(pair.client.quarn(), row.clientPause, elapsed);
    }
    constexpr double kTolerance = 2.0;  // a batch may be under way at either end of the time
    EXPECT_NEAR(toServer / kSeconds, row.toServer, kTolerance);
    EXPECT_NEAR(toClient / kSeconds, row.toClient, kTolerance);
  }
}

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

TEST(GrowthOfRecordings, IsThatOfTheDocument) {
  const struct {
    const char* name;
    bool connected, polls;  // all methods without effect, after each turn of the loop
    double megabytesADay, compressed;
  } rows[] = {
      {"ticks", false, false, 14.3, 0.5},
      {"polls", false, true, 21, 0.6},
      {"idle link", true, false, 48, 1.4},
      {"idle link and polls", true, true, 55, 1.4},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
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
    if (row.connected) pair.client.quarn().Apri(1);
    const auto run = [&](int seconds) {
      for (int turn = 1; turn <= seconds * kSecond / kTickMilliseconds; ++turn) {
        pair.world.runMilliseconds(kTickMilliseconds);
        if (row.polls) {
          Pair::take(pair.server);
          pair.server.quarn().Connesso(1);
          pair.server.quarn().ProntoPerUscire();
        }
        if (turn % 25 == 0) sink->passOn();
      }
    };
    run(60);
    ASSERT_EQ(pair.server.quarn().Connesso(1), row.connected);
    const auto before = sink->bytes(), fileBefore = sink->fileBytes();
    constexpr int kMeasuredSeconds = 1'200;
    run(kMeasuredSeconds);
    constexpr double kMegabytesADay = 86'400.0 / kMeasuredSeconds / 1e6;
    EXPECT_NEAR(static_cast<double>(sink->bytes() - before) * kMegabytesADay, row.megabytesADay, 1);
    EXPECT_NEAR(static_cast<double>(sink->fileBytes() - fileBefore) * kMegabytesADay, row.compressed, 0.1);
  }
}

}  // namespace
}  // namespace quarnex::simulation
