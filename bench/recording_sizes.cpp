// Prints how fast recordings grow, compressed and not, for hosts that poll all their links after each turn,
// in virtual time. Arguments: the hours to measure.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>

#include "recording/recorder/quiet_lines.h"
#include "recording/recorder/recorder.h"
#include "services/compression.h"
#include "simulation/sites/world.h"

namespace {

using namespace quarnex;
using namespace quarnex::simulation;

struct Row {
  const char* name;
  std::int16_t links;
  bool listens, connected;
};

constexpr Row kRows[] = {
    {"server links without callers", 1, true, false},
    {"server links without callers", 100, true, false},
    {"client links whose calls are refused", 1, false, false},
    {"client links whose calls are refused", 100, false, false},
    {"idle connected links", 1, true, true},
    {"idle connected links", 20, true, true},
    {"idle connected links", 70, true, true},
    {"idle connected links", 100, true, true},
};
constexpr Milliseconds kSettled = 60 * kSecond;

/// Compresses the lines into a temporary file every 5 seconds, as a recorder does.
class SizeSink final : public recording::Sink {
 public:
  SizeSink() { std::filesystem::remove(path_); }
  void write(std::string_view lines) override { waiting_ += lines; }
  void passOn() { storage_->writeAt(storage_->size(), std::exchange(waiting_, "")); }
  double bytes() const { return static_cast<double>(storage_->size()); }
  double fileBytes() const { return static_cast<double>(storage_->fileBytes()); }

 private:
  std::filesystem::path path_ = std::filesystem::temp_directory_path() / "quarnex-recording-sizes.gz";
  std::unique_ptr<Storage> storage_ = compressed(createStorage(path_));
  std::string waiting_;
};

class RecordedHost {
 public:
  explicit RecordedHost(const Row& row) : row_(row) {
    host_.makeWrapper = [this] {
      const auto elapsed = [this] { return std::chrono::milliseconds(world_.time().now() + lateness()); };
      return std::make_unique<recording::ServicesRecorder>(
          std::make_shared<recording::QuietLines>(sink_, elapsed));
    };
    host_.start();
    for (Host* host : {&host_, &peer_}) host->quarn().Init("");
    for (std::int16_t id = 0; id < row.links; ++id) {
      open(host_, id, !row.listens);
      if (row.connected) open(peer_, id, row.listens);
      world_.runMilliseconds(id % 20 == 19 ? 40 : 0);  // not all in the same tick
    }
  }

  void run(Milliseconds duration) {
    constexpr Milliseconds kTick = 200, kPause = 5 * kSecond;
    for (const Milliseconds end = world_.time().now() + duration; world_.time().now() < end;) {
      world_.runMilliseconds(kTick);
      for (Host* host : {&host_, &peer_}) poll(host->quarn(), row_.links);
      if (world_.time().now() % kPause < kTick) sink_->passOn();
    }
  }
  const SizeSink& sink() const { return *sink_; }

 private:
  static void open(Host& host, std::int16_t id, bool calls) {
    host.quarn().Apri(host.quarn().Add("PEER", id, calls, true));
  }
  static void poll(QuarnSocket& quarn, std::int16_t links) {
    for (std::int16_t link = 1; link <= links; ++link) {
      while (quarn.MessaggioArrivato(link)) quarn.GetMessaggioArrivato(link);
      quarn.Connesso(link);
    }
  }
  /// Real ticks come a little late: a multiple of 200 would compress too well.
  Milliseconds lateness() { return static_cast<Milliseconds>(random_.between(0, 3)); }

  const Row row_;
  std::shared_ptr<SizeSink> sink_ = std::make_shared<SizeSink>();
  World world_{1};
  Random random_ = world_.random();
  Host& host_ = world_.addHost();
  Host& peer_ = world_.addHost();
};

void measure(const Row& row, double hours) {
  RecordedHost host(row);
  host.run(kSettled);
  const double bytes = host.sink().bytes(), fileBytes = host.sink().fileBytes();
  host.run(static_cast<Milliseconds>(hours * kHour));
  const double megabytesADay = 24 / hours / 1e6;
  std::printf("%4d %-38s %8.1f MB a day, compressed %7.2f\n", row.links, row.name,
              (host.sink().bytes() - bytes) * megabytesADay,
              (host.sink().fileBytes() - fileBytes) * megabytesADay);
}

}  // namespace

int main(int argumentCount, char** arguments) {
  try {
    for (const Row& row : kRows) measure(row, argumentCount > 1 ? std::atof(arguments[1]) : 1);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "%s\n", failure.what());
    return 1;
  }
}
