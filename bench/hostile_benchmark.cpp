// Measures the cost of malicious bytes from one peer, and the delay that they cause for the other links.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <list>
#include <string>

#include "bench/process.h"
#include "engine/exchange/frame.h"
#include "engine/records/frm_sock.h"
#include "engine/tick/tick.h"
#include "host/engine.h"
#include "quarnex/quarn_socket.h"
#include "services/plain_services.h"

namespace quarnex {
namespace {

constexpr int kLinks = 1000;
constexpr std::int64_t kFetchBytes =
    std::int64_t{64} * 1024;  // the most that an adapter fetches from one link on a tick
constexpr std::int64_t kMiB = std::int64_t{1024} * 1024;

// A thousand connected server links on services that cost nothing. Link 1 has the hostile peer.
class ServerLinks {
 public:
  ServerLinks() {
    for (int i = 0; i < kLinks; ++i) {
      quarn_.Apri(quarn_.Add("PEER", static_cast<std::int16_t>(i), false, true));
      Form(library_).onAccept(SocketArray::ServerSocket, static_cast<std::int16_t>(i + 1), 1, 0);
    }
    HiTime_QUARN_Tick(library_);
  }
  void receive(std::string bytes) {
    static_cast<PlainSocket&>(SrvAccept(library_, 1)).arrive(std::move(bytes));
    HiTime_QUARN_Tick(library_);
  }

 private:
  PlainServices services_;
  Engine library_{services_.all()};
  QuarnSocket quarn_{library_};
};

// Three kinds of bytes, 1 MiB to 1 GiB of each: no end of a frame, only ends, only empty frames. The link
// fails after 64 MiB without an end, and fetches no more ends and frames after 1 MiB.
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
    ServerLinks links;
    links.receive(std::string(1, kStx));
    const double start = bench::cpuSeconds();
    for (std::int64_t sent = 0; sent < bytes; sent += kFetchBytes) {
      const double tick = bench::cpuSeconds();
      links.receive(fetched);
      longestTick = std::max(longestTick, bench::cpuSeconds() - tick);
    }
    state.SetIterationTime(bench::cpuSeconds() - start);
  }
  state.SetBytesProcessed(state.iterations() * bytes);
  state.counters["longest_tick_ms"] = 1e3 * longestTick;
}
BENCHMARK(hostile_bytes)->ArgsProduct({{0, 1, 2}, {1, 16, 64, 1024}})->UseManualTime()->Iterations(1);

// Floor: the ticks alone.
void hostile_bytes_floor(benchmark::State& state) {
  ServerLinks links;
  for (auto _ : state) links.receive("");
  state.SetBytesProcessed(state.iterations() * kFetchBytes);
}
BENCHMARK(hostile_bytes_floor);

// Floor: keeps as many bytes in plain strings. First use of memory costs page faults, which no program can
// avoid.
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

// A frame of 30,000 bytes with a wrong checksum, while no trace sink is open.
void damaged_frame(benchmark::State& state) {
  ServerLinks links;
  std::string frame;
  makeFrame(frame, std::string(30'000, 'x'));
  frame[10] = 'y';
  links.receive(frame);
  const std::uint64_t before = bench::allocations();
  for (auto _ : state) links.receive(frame);
  state.counters["allocations"] =
      static_cast<double>(bench::allocations() - before) / static_cast<double>(state.iterations());
}
BENCHMARK(damaged_frame);

}  // namespace
}  // namespace quarnex
