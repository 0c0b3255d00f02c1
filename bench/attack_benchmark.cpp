// Measures the memory of a host whose links are attacked for hours of virtual time.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "bench/process.h"
#include "simulation/peers/wire_format.h"
#include "simulation/sites/world.h"

namespace quarnex {
namespace {

using namespace simulation;

constexpr int kLinks = 20;
constexpr int kHours = 2;
constexpr double kMiB = 1024.0 * 1024.0;

enum Attack : std::int64_t { kFloodOfQueries, kNeverReading, kNeverAcknowledging };

// A host with links that strangers call, or that call strangers.
class AttackedHost {
 public:
  explicit AttackedHost(Attack attack) : attack_(attack), called_(attack == kNeverAcknowledging) {
    const std::string query = wire::frame(wire::message(7, {"9QRY", "9."}));
    const std::string data = wire::frame(wire::message(7, {"text", "9CMD", "9."}));
    const std::string& unit = called_ ? data : query;
    while (payload_.size() < (attack == kFloodOfQueries ? 5 * kFetchBytesMax : unit.size())) payload_ += unit;
    for (std::int16_t id = 1; id <= kLinks; ++id) {
      host_.quarn().Apri(host_.quarn().Add("ABC", id, called_, true));
      strangers_.push_back(&world_.addPeer());
      if (called_) strangers_.back()->listen(20100 + id);
      if (attack != kFloodOfQueries) strangers_.back()->setReading(false);
    }
  }

  void runFifthOfASecond() {
    world_.runMilliseconds(200);
    for (std::int16_t link = 1; link <= kLinks; ++link) {
      ScriptedPeer& stranger = *strangers_[static_cast<std::size_t>(link - 1)];
      if (!called_ && !stranger.connected()) stranger.call(20100 + link);
      if (stranger.unsent() == 0) stranger.send(payload_);
      stranger.bytes.clear();
      takeAll(link);
      const End* end = host_.sockets.end(called_ ? SocketArray::ClientSocket : SocketArray::SrvAccept, link);
      const std::size_t unsent = end != nullptr ? end->unsent() : 0;
      held_ = std::max(held_, host_.library().ConnectionTable[link].bytesHeld + unsent);
    }
  }
  /// The most that one link has held, received or unsent.
  std::size_t held() const { return held_; }

 private:
  // Each new connection gets a batch, which the library repeats to a peer that does not acknowledge it.
  void takeAll(std::int16_t link) {
    while (host_.quarn().MessaggioArrivato(link)) {
      if (host_.quarn().GetMessaggioArrivato(link).starts_with("X000E0701") && attack_ != kFloodOfQueries) {
        for (int i = 0; i < 20; ++i) host_.quarn().Invia(link, std::string(1600, 'y'));
      }
    }
  }

  Attack attack_;
  bool called_;
  World world_{1};
  Host& host_ = world_.addHost();
  std::vector<ScriptedPeer*> strangers_;
  std::string payload_;
  std::size_t held_ = 0;
};

void attacked_host(benchmark::State& state) {
  double heap = 0;
  for (auto _ : state) {
    AttackedHost host(static_cast<Attack>(state.range(0)));
    const auto before = static_cast<double>(bench::holdings().heapBytes);
    for (int step = 0; step < kHours * 3600 * 5; ++step) {
      host.runFifthOfASecond();
      if (step % 50 == 0) heap = std::max(heap, static_cast<double>(bench::holdings().heapBytes) - before);
    }
    state.counters["held_mib_of_a_link"] = static_cast<double>(host.held()) / kMiB;
  }
  state.counters["heap_mib"] = heap / kMiB;
  state.counters["virtual_hours"] = kHours;
}
BENCHMARK(attacked_host)
    ->DenseRange(kFloodOfQueries, kNeverAcknowledging)
    ->Iterations(1)
    ->Repetitions(1)
    ->Unit(benchmark::kSecond);

}  // namespace
}  // namespace quarnex
