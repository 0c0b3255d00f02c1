#include "quarn/commands/simulation_report.h"

#include <cstddef>
#include <cstdio>
#include <iomanip>
#include <iostream>

namespace quarnex::tool {
namespace {

constexpr double kHoursPerYear = 365.25 * 24;

std::string withOneDigit(double number) {
  char text[32];
  std::snprintf(text, sizeof text, "%.1f", number);
  return text;
}

void printFaults(const simulation::RunNumbers& numbers, const simulation::FaultSet& shown) {
  std::string kinds;
  std::cout << "faults     ";
  for (const simulation::Fault* fault : simulation::allFaults()) {
    if (!shown.contains(fault->name)) continue;
    std::cout << ' ' << fault->name << ' ' << numbers.faults.at(fault->name);
    for (const std::string_view kind : fault->kinds)
      if (!kind.empty()) ((kinds += ' ') += kind) += ' ' + std::to_string(numbers.faults.at(kind));
  }
  std::cout << "\nof them    " << kinds << '\n';
}

void printCauses(const char* what, const simulation::CauseCounts& counts) {
  std::cout << std::left << std::setw(11) << what;
  for (std::size_t i = 0; i < counts.size(); ++i) {
    if (counts[i] > 0) std::cout << ' ' << nameOf(static_cast<simulation::Cause>(i)) << ' ' << counts[i];
  }
  std::cout << '\n';
}

void printTexts(const simulation::RunNumbers& numbers) {
  using enum simulation::Arrival;
  const simulation::TextCounts& texts = numbers.texts;
  std::cout << "texts       " << texts.sent << " sent, " << texts.of(New) << " delivered, "
            << texts.sent - texts.of(New) << " not, " << texts.of(Again) << " delivered again, "
            << texts.of(Old) << " late, " << texts.of(Foreign) << " damaged or from strangers\n";
  printCauses("lost", texts.lost);
  printCauses("repeated", texts.doubled);
  std::cout << "receipts    " << numbers.receipts[0] << " acknowledged, " << numbers.receipts[1]
            << " dropped, " << numbers.receipts[2]
            << " unknown; wrong after damage that a checksum hides: " << numbers.receiptsExcused << '\n';
}

void printReports(const simulation::RunNumbers& numbers) {
  std::cout << "reports    ";
  for (const auto& [code, count] : numbers.reports) std::cout << ' ' << code << ": " << count;
  std::cout << '\n';
}

void printWork(const simulation::RunNumbers& numbers) {
  std::cout << "work        " << numbers.steps << " steps, " << numbers.framesSent << " frames, "
            << numbers.connections << " connections, " << numbers.engines << " engines\n"
            << "disks       " << numbers.disksReplayed << " recordings on failing disks replayed, "
            << numbers.diskGaps << " of them up to a gap\n";
}

void printTraces(const simulation::RunNumbers& numbers) {
  std::cout << "traces     ";
  for (std::size_t i = 0; i < std::size(simulation::kTraceTexts); ++i)
    std::cout << (i == 0 ? " " : ", ") << '"' << simulation::kTraceTexts[i] << "\" "
              << numbers.traces.counts()[i];
  std::cout << '\n';
}

}  // namespace

std::string inSeconds(simulation::Milliseconds duration) {
  return withOneDigit(static_cast<double>(duration) / 1000) + " s";
}

void printRun(const simulation::RunPlan& plan, const simulation::RunResult& result) {
  std::cout << "seed        " << plan.seed << '\n'
            << "time        " << inSeconds(result.duration) << " of virtual time, "
            << withOneDigit(result.linkHours) << " link-hours\n";
  printFaults(result, result.enabled);
  printTexts(result);
  printReports(result);
  printWork(result);
  if (!result.complete) {
    std::cout << "interrupted before the faults ended\n";
    return;
  }
  std::cout << "recovery    " << inSeconds(result.recovery) << ", after " << inSeconds(result.aftermath)
            << " of stalls and clocks behind; exit " << inSeconds(result.exit) << '\n';
  char hash[32];
  std::snprintf(hash, sizeof hash, "%016llx", static_cast<unsigned long long>(result.hash));
  std::cout << "recordings  " << hash << '\n';
}

void printRuns(const simulation::RunPlan& plan, std::uint64_t runs, std::uint64_t endedRuns,
               const simulation::RunNumbers& sums) {
  std::cout << "seeds       " << runs << " from " << plan.seed << " on";
  if (endedRuns > 0) std::cout << ", and " << endedRuns << " up to the interruption";
  std::cout << "\ntime        " << withOneDigit(sums.linkHours) << " link-hours, "
            << withOneDigit(sums.linkHours / kHoursPerYear) << " link-years\n";
  printFaults(sums, plan.faults);
  printTexts(sums);
  printReports(sums);
  printTraces(sums);
  printWork(sums);
  if (runs == 0) return;
  std::cout << "recovery    " << inSeconds(sums.recovery) << " at most; exit " << inSeconds(sums.exit)
            << " at most\n";
}

void printSpeed(const simulation::RunNumbers& numbers, double cpuSeconds, double elapsedSeconds) {
  std::fprintf(stderr, "%.1f s, %.1f s of CPU: %.0f link-hours a CPU second, %.2f link-years a CPU minute\n",
               elapsedSeconds, cpuSeconds, numbers.linkHours / cpuSeconds,
               numbers.linkHours / kHoursPerYear / cpuSeconds * 60);
}

}  // namespace quarnex::tool
