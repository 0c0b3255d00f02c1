// Measures a trace text without any sink, and a line in the log file.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <string_view>

#include "bench/process.h"
#include "engine/diagnostics/log.h"
#include "engine/diagnostics/trace.h"
#include "host/engine.h"
#include "platform/common/log_text_file.h"
#include "platform/posix/posix_time.h"
#include "quarnex/quarn_socket.h"
#include "services/plain_services.h"

namespace quarnex {
namespace {

constexpr std::chrono::seconds kNoLimit{60};

constexpr std::string_view kBody = "99990000052|9QRY|9.|";
constexpr int kLinesPerTurn = 1000;

void trace_without_sink(benchmark::State& state) {
  PlainServices services;
  Engine library{services.all()};
  const std::int16_t link = QuarnSocket(library).Add("MIRTAN", 5, true, false);
  const std::uint64_t before = bench::allocations();
  for (auto _ : state) {
    Traccia(library, link, "R>:", ZeroPadded{link, 5}, ' ', kBody);
    benchmark::ClobberMemory();
  }
  state.counters["allocations"] = static_cast<double>(bench::allocations() - before);
}
BENCHMARK(trace_without_sink);

// Floor: reads one flag.
void trace_without_sink_floor(benchmark::State& state) {
  bool open = false;
  for (auto _ : state) {
    if (open) state.SkipWithError("the flag is not set");
    benchmark::ClobberMemory();
    benchmark::DoNotOptimize(open);
  }
}
BENCHMARK(trace_without_sink_floor);

std::string temporaryPrefix() {
  return std::filesystem::temp_directory_path().string() + "/quarnex-bench-" + std::to_string(::getpid()) +
         '-';
}

// Each iteration is one turn of the loop, and ends when the writer's thread has written its lines; the CPU
// time is that of both threads.
void logged_line(benchmark::State& state) {
  PlainServices quiet;
  PosixClock clock{secondOfSystem};
  LogTextFile file;
  Engine library{{quiet, quiet, clock, file}};
  QuarnSocket quarn(library);
  const std::string prefix = temporaryPrefix();
  quarn.Init(prefix);
  const std::int16_t link = quarn.Add("MIRTAN", 5, true, false);
  quarn.AttivaLog();
  for (auto _ : state) {
    for (int i = 0; i < kLinesPerTurn; ++i) Traccia(library, link, "R>", kBody);
    file.flush(kNoLimit);
  }
  quarn.DisattivaLog(0);
  state.SetItemsProcessed(state.iterations() * kLinesPerTurn);
  for (const auto& entry : std::filesystem::directory_iterator(std::filesystem::temp_directory_path())) {
    if (entry.path().string().starts_with(prefix)) std::filesystem::remove(entry.path());
  }
}
BENCHMARK(logged_line)->Iterations(2000)->MeasureProcessCPUTime();

// Floor: copies finished lines together and writes them.
void logged_line_floor(benchmark::State& state) {
  const std::string name = temporaryPrefix() + "floor.txt";
  LogTextFile file;
  file.create(name);
  std::string line = "001 12:00:00 R>";
  line.append(kBody).append("\r\n");
  std::string turn;
  for (auto _ : state) {
    turn.clear();
    for (int i = 0; i < kLinesPerTurn; ++i) {
      turn += line;
      benchmark::DoNotOptimize(turn.data());
    }
    file.write(turn);
    file.flush(kNoLimit);
  }
  file.close();
  state.SetItemsProcessed(state.iterations() * kLinesPerTurn);
  std::filesystem::remove(name);
}
BENCHMARK(logged_line_floor)->Iterations(2000)->MeasureProcessCPUTime();

}  // namespace
}  // namespace quarnex
