// Measures the checksum and the extraction of frames from received bytes, in bytes per second.
#include <benchmark/benchmark.h>

#include <cstring>
#include <string>

#include "engine/exchange/frame.h"
#include "engine/exchange/receiving.h"
#include "engine/records/connection_record.h"

namespace quarnex {
namespace {

constexpr std::size_t kTextBytes = 2048;
constexpr std::size_t kFetchBytes = std::size_t{64} * 1024;

void countBytes(benchmark::State& state, std::size_t bytesPerIteration) {
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytesPerIteration));
}

void checksum(benchmark::State& state) {
  std::string text(kTextBytes, 'x');
  for (auto _ : state) {
    benchmark::DoNotOptimize(text.data());
    benchmark::DoNotOptimize(CalcolaCks(text));
  }
  countBytes(state, text.size());
}
BENCHMARK(checksum);

// Floor: reads each byte once.
void checksum_floor(benchmark::State& state) {
  std::string text(kTextBytes, 'x');
  for (auto _ : state) {
    benchmark::DoNotOptimize(text.data());
    benchmark::DoNotOptimize(std::char_traits<char>::find(text.data(), text.size(), kEtx));
  }
  countBytes(state, text.size());
}
BENCHMARK(checksum_floor);

std::string fetchFullOfFrames(std::size_t messageBytes) {
  std::string frame;
  makeFrame(frame, std::string(messageBytes, 'x'));
  std::string fetched;
  while (fetched.size() + frame.size() <= kFetchBytes) fetched += frame;
  return fetched;
}

// Extracts one complete frame after the other from `Ricevuto`, which holds the fetched bytes.
void cutting(benchmark::State& state) {
  const std::string fetched = fetchFullOfFrames(static_cast<std::size_t>(state.range(0)));
  ConnectionRecord record;
  for (auto _ : state) {
    record.Ricevuto.append(fetched);
    while (!record.Ricevuto.empty()) {
      cutFrame(record);
      benchmark::DoNotOptimize(record.FrameRicevuto.data());
      record.FrameCompleto = false;
    }
  }
  countBytes(state, fetched.size());
}
BENCHMARK(cutting)->Arg(100)->Arg(kTextBytes);

// Floor: searches for the end of each frame and copies the frame once.
void cutting_floor(benchmark::State& state) {
  const std::string fetched = fetchFullOfFrames(static_cast<std::size_t>(state.range(0)));
  std::string frame(kFetchBytes, '\0');
  for (auto _ : state) {
    const char* next = fetched.data();
    const char* const end = next + fetched.size();
    while (next < end) {
      const auto* etx =
          static_cast<const char*>(std::memchr(next, kEtx, static_cast<std::size_t>(end - next)));
      std::memcpy(frame.data(), next, static_cast<std::size_t>(etx + 1 - next));
      benchmark::DoNotOptimize(frame.data());
      next = etx + 1;
    }
  }
  countBytes(state, fetched.size());
}
BENCHMARK(cutting_floor)->Arg(100)->Arg(kTextBytes);

}  // namespace
}  // namespace quarnex
