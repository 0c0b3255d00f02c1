// What the measured processes exchange, and the course of a measurement: the same for the library and its
// floor.
#pragma once

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "bench/process.h"
#include "engine/exchange/frame.h"
#include "engine/records/text_pieces.h"

namespace quarnex::bench {

constexpr int kTextsPerExchange = 20;
constexpr std::size_t kTextBytes = 100;
constexpr int kFirstPort = 23000;  // 9,500 ports from here end below those that the system chooses itself

struct Workload {
  bool server = false;
  int links = 0;
  std::string_view kind;  // "idle": a query and its answer each second; "busy": batches of texts,
                          // acknowledged; "quiet": connected, and nothing is ever due; "recorded": as busy,
                          // and recorded into a file
  double seconds = 0;

  bool recorded() const { return kind == "recorded"; }
  bool busy() const { return kind == "busy" || recorded(); }
  bool quiet() const { return kind == "quiet"; }
};

/// From "server|client LINKS idle|busy|quiet|recorded SECONDS".
inline Workload workloadOf(int argumentCount, char** arguments) {
  if (argumentCount != 5) {
    std::fprintf(stderr, "usage: %s server|client LINKS idle|busy|quiet|recorded SECONDS\n", arguments[0]);
    std::exit(2);
  }
  return {std::string_view(arguments[1]) == "server", std::atoi(arguments[2]), arguments[3],
          std::atof(arguments[4])};
}

// Messages have room for three digits of an identifier, so the ports that go with identifiers are too few
// here.
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
  std::string fields(1, static_cast<char>('0' + kTextsPerExchange + 2));
  for (int i = 0; i < kTextsPerExchange; ++i) fields.append("|").append(kTextBytes, 'x');
  return frameOf(link, fields + "|9CMD|9.|");
}

inline std::string answerOf(const Workload& workload, int link) {
  return frameOf(link, workload.busy() ? "2|9ACK|9.|" : "2|9NODATA|9.|");
}

/// Sets up, lets the exchange come to its steady state, measures for the workload's seconds and reports; then
/// goes on, since the other side may still be measuring, until it is killed. `turn` is one look at all
/// connections, `exchanges` counts the finished ones.
template <class SetUp, class Turn, class Exchanges>
[[noreturn]] void measure(const Workload& workload, SetUp setUp, Turn turn, Exchanges exchanges) {
  using Clock = std::chrono::steady_clock;
  using Seconds = std::chrono::duration<double>;
  const auto turnFor = [&](double seconds) {
    const auto start = Clock::now();
    while (Seconds(Clock::now() - start).count() < seconds) turn();
    return Seconds(Clock::now() - start).count();
  };
  constexpr double kSettlingSeconds = 3;
  Report report;
  report.base = holdings();
  setUp();
  turnFor(kSettlingSeconds);
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
