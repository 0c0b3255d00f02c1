// Measures one `BufferPut` and one `BufferGet` of a text queue.
#include <benchmark/benchmark.h>

#include <string>
#include <utility>

#include "engine/records/text_buffer.h"
#include "quarnex/times_and_limits.h"

namespace quarnex {
namespace {

constexpr char kShortText[] = "HELLO";
constexpr int kTextsWaiting = 10;

void put_get(benchmark::State& state) {
  TextBuffer buffer;
  BufferInit(buffer, kTextQueueCapacity);
  for (int i = 0; i < kTextsWaiting; ++i) BufferPut(buffer, kShortText);
  for (auto _ : state) {
    BufferPut(buffer, kShortText);
    benchmark::DoNotOptimize(BufferGet(buffer));
  }
}
BENCHMARK(put_get);

// Floor: creates the text, moves it into a slot and out of it.
void put_get_floor(benchmark::State& state) {
  std::string slot;
  for (auto _ : state) {
    slot = std::string(kShortText);
    benchmark::DoNotOptimize(slot);
    benchmark::DoNotOptimize(std::string(std::move(slot)));
  }
}
BENCHMARK(put_get_floor);

}  // namespace
}  // namespace quarnex
