// Measures calls through the C interface beside the same calls in C++, on the process's own library.
#include <benchmark/benchmark.h>

#include <string>

#include "quarnex/quarn_socket.h"
#include "quarnex/quarnex.h"

namespace quarnex {
namespace {

/// Two ends of a link inside the process, reached both ways.
struct Ends {
  Ends() { quarnex_create(&instance, nullptr); }
  ~Ends() { quarnex_destroy(instance); }
  Ends(const Ends&) = delete;
  Ends& operator=(const Ends&) = delete;

  QuarnSocket quarn;
  quarnex_instance* instance = nullptr;
  std::int16_t from = quarn.Add("BENCH", 1, true, false), to = quarn.Add("BENCH", 1, false, false);
};

Ends& ends() {
  static Ends only;
  return only;
}

// Most texts are longer than the buffer inside a std::string.
const std::string kText(100, 'x');

void connected_cpp(benchmark::State& state) {
  Ends& link = ends();
  for (auto _ : state) benchmark::DoNotOptimize(link.quarn.Connesso(link.from));
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(connected_cpp);

void connected_c(benchmark::State& state) {
  Ends& link = ends();
  std::int32_t connected = 0;
  for (auto _ : state) {
    quarnex_Connesso(link.instance, link.from, &connected, nullptr);
    benchmark::DoNotOptimize(connected);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(connected_c);

void text_cpp(benchmark::State& state) {
  Ends& link = ends();
  for (auto _ : state) {
    link.quarn.Invia(link.from, kText);
    benchmark::DoNotOptimize(link.quarn.GetMessaggioArrivato(link.to));
  }
  state.SetItemsProcessed(2 * state.iterations());
}
BENCHMARK(text_cpp);

void text_c(benchmark::State& state) {
  Ends& link = ends();
  quarnex_text text{nullptr, 0};
  for (auto _ : state) {
    quarnex_Invia(link.instance, link.from, kText.data(), kText.size(), nullptr);
    quarnex_GetMessaggioArrivato(link.instance, link.to, &text, nullptr);
    benchmark::DoNotOptimize(text);
  }
  state.SetItemsProcessed(2 * state.iterations());
}
BENCHMARK(text_c);

void snapshot_cpp(benchmark::State& state) {
  Ends& link = ends();
  for (auto _ : state) benchmark::DoNotOptimize(link.quarn.snapshot(link.from));
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(snapshot_cpp);

void snapshot_c(benchmark::State& state) {
  Ends& link = ends();
  quarnex_link_snapshot snapshot{};
  snapshot.size = sizeof snapshot;
  for (auto _ : state) {
    quarnex_snapshot(link.instance, link.from, &snapshot, nullptr);
    benchmark::DoNotOptimize(snapshot);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(snapshot_c);

}  // namespace
}  // namespace quarnex
