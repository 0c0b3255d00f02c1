// A tick over connected links on which nothing was received, with cold caches: the engine alone.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "bench/allocations.h"
#include "bench/cold_caches.h"
#include "bench/process.h"
#include "bench/quiet_services.h"
#include "engine/exchange/frame.h"
#include "engine/message/outbound.h"
#include "engine/records/frm_sock.h"
#include "engine/tick/tick.h"
#include "quarnex/quarn_socket.h"

namespace quarnex {
namespace {

constexpr int kLinks = 10'000;
constexpr int kTicks = 50;

void deliver(Library& library, const ConnectionRecord& record, std::string_view message) {
  std::string frame;
  makeFrame(frame, message);
  static_cast<bench::QuietSocket&>(frameSocket(library, record)).deliver(std::move(frame));
}

void connect(Library& library, const ConnectionRecord& record) {
  if (record.ConnessioneClient) {
    Form(library).onConnect(SocketArray::ClientSocket, record.IdxClient, 0);
  } else {
    Form(library).onAccept(SocketArray::ServerSocket, record.IdxServer, 1, 0);
  }
}

// Links of both roles, connected, that have ended an exchange without data: what most links are most of the
// time.
void makeIdleLinks(Library& library) {
  QuarnSocket quarn(library);
  for (int i = 0; i < kLinks; ++i) {
    const std::int16_t link = quarn.Add("PEER", static_cast<std::int16_t>(i), i % 2 == 0, true);
    quarn.Apri(link);
    connect(library, library.ConnectionTable[link]);
  }
  HiTime_QUARN_Tick(library);  // the sub-state from 0 to 1
  HiTime_QUARN_Tick(library);  // the clients ask
  for (std::int16_t link = 1; link <= kLinks; ++link) {
    const ConnectionRecord& record = library.ConnectionTable[link];
    deliver(library, record, record.ConnessioneClient ? "0000002|9NODATA|9.|" : "0000002|9QRY|9.|");
  }
  HiTime_QUARN_Tick(library);
  for (std::int16_t link = 1; link <= kLinks; ++link) {
    if (library.ConnectionTable[link].StatoB != kExchangeIdle) std::abort();
    while (quarn.MessaggioArrivato(link)) quarn.GetMessaggioArrivato(link);
  }
}

void quiet_tick(benchmark::State& state) {
  bench::QuietServices services;
  services.clock.stop();
  Engine library{services.all()};
  makeIdleLinks(library);
  bench::ColdCaches caches;
  const std::uint64_t before = bench::allocations();
  for (auto _ : state) {
    caches.make();
    const double start = bench::cpuSeconds();
    HiTime_QUARN_Tick(library);
    state.SetIterationTime(bench::cpuSeconds() - start);
  }
  state.counters["allocations"] = static_cast<double>(bench::allocations() - before);
  state.SetItemsProcessed(state.iterations() * kLinks);
}
BENCHMARK(quiet_tick)->UseManualTime()->Iterations(kTicks);

// Two cache lines of a record and one of its socket, read.
void quiet_tick_floor(benchmark::State& state) {
  struct Record {
    alignas(64) long first;
    alignas(64) long second;
    char rest[sizeof(ConnectionRecord) - 2 * 64];
  };
  std::vector<Record> records(kLinks);
  std::vector<std::unique_ptr<bench::QuietSocket>> sockets;
  for (int i = 0; i < kLinks; ++i) sockets.push_back(std::make_unique<bench::QuietSocket>());
  bench::ColdCaches caches;
  for (auto _ : state) {
    caches.make();
    const double start = bench::cpuSeconds();
    long sum = 0;
    for (std::size_t i = 0; i < records.size(); ++i) {
      sum += records[i].first + records[i].second + static_cast<SocketInstance&>(*sockets[i]).bytesWaiting();
    }
    benchmark::DoNotOptimize(sum);
    state.SetIterationTime(bench::cpuSeconds() - start);
  }
  state.SetItemsProcessed(state.iterations() * kLinks);
}
BENCHMARK(quiet_tick_floor)->UseManualTime()->Iterations(kTicks);

}  // namespace
}  // namespace quarnex
