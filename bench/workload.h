// Defines the texts that the measured processes exchange and the phases of a measurement, for the library and
// its floor.
#pragma once

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "bench/process.h"
#include "engine/exchange/frame.h"
#include "engine/records/text_pieces.h"
#include "quarnex/times_and_limits.h"

namespace quarnex::bench {

constexpr std::size_t kTextBytes = 100;
constexpr int kFirstPort = 23000;  // 9,500 ports from here stay below the range from which the system chooses

struct Workload {
  bool server = false;
  int links = 0;
  std::string_view kind;  // "idle": one query and answer a second; "busy": batches of texts and
                          // acknowledgements; "quiet": connected, nothing falls due; "recorded": as "busy",
                          // with a recording
  double seconds = 0;

  bool recorded() const { return kind == "recorded"; }
  bool busy() const { return kind == "busy" || recorded(); }
  bool quiet() const { return kind == "quiet"; }
};

/// Parses "server|client LINKS idle|busy|quiet|recorded SECONDS".
inline Workload workloadOf(int argumentCount, char** arguments) {
  if (argumentCount != 5) {
    std::fprintf(stderr, "usage: %s server|client LINKS idle|busy|quiet|recorded SECONDS\n", arguments[0]);
    std::exit(2);
  }
  return {std::string_view(arguments[1]) == "server", std::atoi(arguments[2]), arguments[3],
          std::atof(arguments[4])};
}

// A message holds three digits of an identifier, so links share identifiers and get ports of their own.
constexpr int identifierOfLink(int link) {
  return link % 1000;
}
constexpr int portOfLink(int link) {
  return kFirstPort + link;
}

inline std::string frameOf(int link, std::string_view countAndFields) {
  std::string frame;
  makeFrame(frame, concat("000", ZeroPadded{identifierOfLink(link), 3}, countAndFields));
  return frame;
}

inline std::string requestOf(const Workload& workload, int link) {
  if (!workload.busy()) return frameOf(link, "2|9QRY|9.|");
  std::string fields(1, static_cast<char>('0' + kTextsPerBatchMax + 2));
  for (std::size_t i = 0; i < kTextsPerBatchMax; ++i) fields.append("|").append(kTextBytes, 'x');
  return frameOf(link, fields + "|9CMD|9.|");
}

inline std::string answerOf(const Workload& workload, int link) {
  return frameOf(link, workload.busy() ? "2|9ACK|9.|" : "2|9NODATA|9.|");
}

/// Sets up, waits for the steady state, measures for the workload's seconds and prints the report. Then runs
/// on until the process is killed, because the other side may still be measuring. `turn` does one tick,
/// `exchanges` returns the number of finished exchanges.
template <class SetUp, class Turn, class Exchanges>
[[noreturn]] void measure(const Workload& workload, SetUp setUp, Turn turn, Exchanges exchanges) {
  using Clock = std::chrono::steady_clock;
  using Seconds = std::chrono::duration<double>;
  const auto turnFor = [&](double seconds) {
    const auto start = Clock::now();
    while (Seconds(Clock::now() - start).count() < seconds) turn();
    return Seconds(Clock::now() - start).count();
  };
  constexpr double kSteadyStateSeconds = 3;
  Report report;
  report.base = holdings();
  setUp();
  turnFor(kSteadyStateSeconds);
  const double cpuBefore = cpuSeconds();
  const std::int64_t exchangesBefore = exchanges();
  report.seconds = turnFor(workload.seconds);
  report.cpuSeconds = cpuSeconds() - cpuBefore;
  report.exchanges = exchanges() - exchangesBefore;
  report.end = holdings();
  print(report);
  for (;;) turn();
}

}  // namespace quarnex::bench
