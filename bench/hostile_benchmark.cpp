// What bytes cost that a peer sends to do harm, and what the other links notice of them.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <list>
#include <string>

#include "bench/process.h"
#include "bench/quiet_services.h"
#include "engine/exchange/frame.h"
#include "engine/records/frm_sock.h"
#include "engine/tick/tick.h"
#include "quarnex/quarn_socket.h"

namespace quarnex {
namespace {

constexpr int kLinks = 1000;
constexpr std::int64_t kFetchBytes = std::int64_t{64} * 1024;  // what an adapter takes on one tick
constexpr std::int64_t kMiB = std::int64_t{1024} * 1024;

// A thousand connected server links on services that cost nothing; the first one's peer is the hostile one.
class Crowd {
 public:
  Crowd() {
    services_.clock.stop();
    for (int i = 0; i < kLinks; ++i) {
      quarn_.Apri(quarn_.Add("PEER", static_cast<std::int16_t>(i), false, true));
      Form(library_).onAccept(SocketArray::ServerSocket, static_cast<std::int16_t>(i + 1), 1, 0);
    }
    HiTime_QUARN_Tick(library_);
  }
  void receive(std::string bytes) {
    static_cast<bench::QuietSocket&>(SrvAccept(library_, 1)).deliver(std::move(bytes));
    HiTime_QUARN_Tick(library_);
  }

 private:
  bench::QuietServices services_;
  Engine library_{services_.all()};
  QuarnSocket quarn_{library_};
};

// Bytes that end no frame, end characters alone, and the shortest frames: MiB of each.
void hostile_bytes(benchmark::State& state) {
  std::string frame;
  makeFrame(frame, "");
  const std::string units[] = {"x", std::string(1, kEtx), frame};
  const std::string& unit = units[state.range(0)];
  std::string fetched;
  while (static_cast<std::int64_t>(fetched.size()) < kFetchBytes) fetched += unit;
  double longestTick = 0;
  const std::int64_t bytes = state.range(1) * kMiB;
  for (auto _ : state) {
    Crowd crowd;
    crowd.receive(std::string(1, kStx));
    const double start = bench::cpuSeconds();
    for (std::int64_t sent = 0; sent < bytes; sent += kFetchBytes) {
      const double tick = bench::cpuSeconds();
      crowd.receive(fetched);
      longestTick = std::max(longestTick, bench::cpuSeconds() - tick);
    }
    state.SetIterationTime(bench::cpuSeconds() - start);
  }
  state.SetBytesProcessed(state.iterations() * bytes);
  state.counters["longest_tick_ms"] = 1e3 * longestTick;
}
BENCHMARK(hostile_bytes)->ArgsProduct({{0, 1, 2}, {1, 16, 64, 1024}})->UseManualTime()->Iterations(1);

// The ticks alone, which are part of the above.
void hostile_bytes_floor(benchmark::State& state) {
  Crowd crowd;
  for (auto _ : state) crowd.receive("");
  state.SetBytesProcessed(state.iterations() * kFetchBytes);
}
BENCHMARK(hostile_bytes_floor);

// The same MiB kept by any program: what the system asks for memory that nobody has used yet is part of the
// above, too.
void kept_bytes_floor(benchmark::State& state) {
  const std::string fetched(kFetchBytes, 'x');
  const std::int64_t bytes = state.range(0) * kMiB;
  for (auto _ : state) {
    std::list<std::string> kept;
    const double start = bench::cpuSeconds();
    for (std::int64_t sent = 0; sent < bytes; sent += kFetchBytes) kept.push_back(fetched);
    state.SetIterationTime(bench::cpuSeconds() - start);
  }
  state.SetBytesProcessed(state.iterations() * bytes);
}
BENCHMARK(kept_bytes_floor)->Arg(1)->Arg(16)->Arg(64)->Arg(1024)->UseManualTime()->Iterations(1);

// A frame of 30,000 bytes with a wrong checksum, while nobody looks at traces.
void damaged_frame(benchmark::State& state) {
  Crowd crowd;
  std::string frame;
  makeFrame(frame, std::string(30'000, 'x'));
  frame[10] = 'y';
  crowd.receive(frame);
  const std::uint64_t before = bench::allocations();
  for (auto _ : state) crowd.receive(frame);
  state.counters["allocations"] =
      static_cast<double>(bench::allocations() - before) / static_cast<double>(state.iterations());
}
BENCHMARK(damaged_frame);

}  // namespace
}  // namespace quarnex
