// Simulates sites under faults in virtual time and reports the results (quarn simulate).
#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "quarn/commands.h"
#include "quarn/commands/simulation_report.h"
#include "quarn/console.h"
#include "quarn/process_setup.h"
#include "quarn/utf8.h"
#include "quarnex/times_and_limits.h"
#include "simulation/runs/simulate_run.h"
#include "simulation/sites/site.h"

namespace quarnex::tool {
namespace {

constexpr int kBroken = 1;
constexpr int kInterrupted = 4;
constexpr std::uint64_t kHoursMax = 100'000;
constexpr std::uint64_t kSeedsMax = 1'000'000;
constexpr std::uint64_t kJobsMax = 256;
constexpr std::uint64_t kLinkHoursMax = 1'000'000'000;
constexpr std::uint64_t kOccurrencesMin = 10;  // with --expect-all

struct ManyPlan {
  simulation::RunPlan plan;
  std::uint64_t seeds = 1;
  unsigned jobs = 1;
  double linkHoursMax = 0;  // start no further seed after these; 0 = no limit
  bool expectAll = false;
};

class Stopwatch {
 public:
  double cpuSeconds() const { return static_cast<double>(std::clock() - clock_) / CLOCKS_PER_SEC; }
  double elapsedSeconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
  }

 private:
  std::clock_t clock_ = std::clock();
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

std::string allNames(const std::string& separator = ",") {
  std::string names;
  for (const simulation::Fault* fault : simulation::allFaults())
    names += (names.empty() ? "" : separator) + std::string(fault->name);
  return names;
}

simulation::FaultSet faultsOf(const std::string& list) {
  simulation::FaultSet faults;
  for (std::string_view rest = list;;) {
    const std::string_view word = rest.substr(0, rest.find(','));
    auto named = simulation::faultsNamed(word);
    if (!named)
      throw std::invalid_argument('"' + std::string(word) +
                                  "\": give all, large, none, generation-N, or some of " + allNames());
    faults.merge(*named);
    if (word.size() == rest.size()) return faults;
    rest.remove_prefix(word.size() + 1);
  }
}

// Creates the directory if necessary. Called before the run, which may take hours.
bool isUsableForRecordings(const std::filesystem::path& directory) {
  std::error_code ignored;
  std::filesystem::create_directories(directory, ignored);
  return std::filesystem::is_directory(directory, ignored) &&
         std::ofstream(directory / "host1-1.jsonl", std::ios::app).is_open();
}

void requireUsableDirectory(const ManyPlan& many) {
  if (!many.plan.recordDirectory) return;
  if (many.seeds > 1)
    throw std::invalid_argument("--record keeps the recordings of one seed: leave out --seeds");
  if (!isUsableForRecordings(*many.plan.recordDirectory))
    throw std::invalid_argument("--record \"" + many.plan.recordDirectory->string() +
                                "\": give a directory that you can create or write to");
}

void showProgress(Console& console, const std::string& words) {
  console.showProgress(words);
  console.output().flush(std::chrono::steady_clock::now() + std::chrono::seconds(1));
}

void endProgress(Console& console) {
  showProgress(console, "");
}

void printFinding(const simulation::RunPlan& plan, std::uint64_t seed, const recording::Finding& finding) {
  std::cout.flush();
  std::cerr << "quarn: seed " << seed << ", " << inSeconds(finding.at);
  if (finding.host != 0) std::cerr << ", host " << finding.host;
  if (finding.link != 0) std::cerr << ", link " << finding.link;
  std::cerr << ": " << finding.text;
  if (plan.recordDirectory) std::cerr << "; recordings are in " << plan.recordDirectory->string();
  std::cerr << '\n';
}

// Runs the seed again with a recorder, unless the run was recorded.
void keepRecordings(simulation::RunPlan plan, std::uint64_t seed) {
  if (plan.recordDirectory) return;
  plan.seed = seed;
  std::cerr << "quarn: recordings of seed " << seed;
  try {
    const auto folder = simulation::recordAgain(plan, std::filesystem::temp_directory_path());
    std::cerr << " are in " << folder.string() << '\n';
  } catch (const std::exception& failure) {
    std::cerr << " could not be written: " << failure.what() << '\n';
  }
}

int simulateOne(simulation::RunPlan plan) {
  const Stopwatch watch;
  Console console;
  plan.goesOn = [&](simulation::Milliseconds passed) {
    showProgress(console, std::to_string(passed / simulation::kMinute) + " of " +
                              std::to_string(plan.faultTime / simulation::kMinute) + " minutes");
    return !interrupted();
  };
  const simulation::RunResult result = simulation::simulate(plan);
  endProgress(console);
  printRun(plan, result);
  std::cout.flush();
  printSpeed(result, watch.cpuSeconds(), watch.elapsedSeconds());
  if (result.finding) {
    printFinding(plan, plan.seed, *result.finding);
    keepRecordings(plan, plan.seed);
  }
  if (!result.recordingsWhole)
    std::cerr << "quarn: the disk did not accept all recordings; give a directory on a larger disk\n";
  if (result.finding || !result.recordingsWhole) return kBroken;
  return result.complete ? 0 : kInterrupted;
}

// Names the limit that ends the run: the number of seeds or the link-hours.
std::string progressOf(const ManyPlan& many, std::uint64_t runs, double linkHours) {
  std::string words = std::to_string(runs);
  if (many.linkHoursMax == 0) words += " of " + std::to_string(many.seeds);
  words += " seeds, " + std::to_string(std::llround(linkHours));
  if (many.linkHoursMax > 0) words += " of " + std::to_string(std::llround(many.linkHoursMax));
  return words + " link-hours";
}

// Starts no further seed after the first failed one; runs already started finish.
int simulateSeveral(ManyPlan many) {
  const Stopwatch watch;
  Console console;
  simulation::RunNumbers sums;
  std::uint64_t runs = 0, endedRuns = 0;
  std::optional<std::uint64_t> failed;
  many.plan.goesOn = [](simulation::Milliseconds) { return !interrupted(); };
  simulation::simulateMany(many.plan, many.seeds, many.jobs, [&](std::uint64_t seed, const auto& result) {
    ++(result.complete ? runs : endedRuns);
    sums.add(result);
    showProgress(console, progressOf(many, runs, sums.linkHours));
    if (result.finding) {
      endProgress(console);
      printFinding(many.plan, seed, *result.finding);
      failed = failed.value_or(seed);
    }
    return !failed && !interrupted() && (many.linkHoursMax == 0 || sums.linkHours < many.linkHoursMax);
  });
  endProgress(console);
  printRuns(many.plan, runs, endedRuns, sums);
  std::cout.flush();
  printSpeed(sums, watch.cpuSeconds(), watch.elapsedSeconds());
  if (failed) keepRecordings(many.plan, *failed);
  if (failed) return kBroken;
  if (interrupted()) return kInterrupted;
  if (!many.expectAll) return 0;
  const auto missing = sums.seenLessThan(kOccurrencesMin, many.plan.faults);
  for (const std::string& name : missing)
    std::cerr << "quarn: " << name << " occurred fewer than " << kOccurrencesMin << " times\n";
  return missing.empty() ? 0 : kBroken;
}

int runSimulation(const ManyPlan& many) {
  try {
    requireUsableDirectory(many);
    catchInterruptions();
    return many.seeds == 1 && !many.expectAll ? simulateOne(many.plan) : simulateSeveral(many);
  } catch (const std::invalid_argument& wrong) {
    std::cerr << "quarn: " << wrong.what() << '\n';
    return kNotStarted;
  }
}

std::vector<Argument> argumentsFor(ManyPlan& many) {
  simulation::RunPlan& plan = many.plan;
  return {
      {.name = "--seed",
       .placeholder = "S",
       .help = "first seed; the same seed gives the same run",
       .store = storeIn(plan.seed, 0, std::numeric_limits<std::uint64_t>::max()),
       .required = true},
      {.name = "--hours",
       .placeholder = "H",
       .help = "hours with faults, before the wait for recovery",
       .store =
           [&plan](const std::string& hours) {
             plan.faultTime =
                 simulation::kHour * static_cast<simulation::Milliseconds>(wholeNumber(hours, 1, kHoursMax));
           },
       .defaultValue = "1"},
      {.name = "--links",
       .placeholder = "N",
       .help = "links per host, at most " + std::to_string(simulation::kTcpLinksMax) + " of them over TCP",
       .store = storeIn(plan.links, 1, kLinksMax),
       .defaultValue = "10"},
      {.name = "--faults",
       .placeholder = "LIST",
       .help = "comma-separated names, from which the seed draws some; or all (without the large\n"
               "ones), large, none, or generation-N (the faults up to generation N)",
       .store = [&plan](const std::string& list) { plan.faults = faultsOf(list); },
       .defaultValue = "all"},
      {.name = "--record",
       .placeholder = "DIR",
       .help = "keep a recording of each engine in DIR",
       .store = [&plan](const std::string& directory) { plan.recordDirectory = pathOf(directory); },
       .completion = Completion::Folders},
      {.name = "--seeds",
       .placeholder = "N",
       .help = "run N seeds from S on, and print the sums",
       .store = storeIn(many.seeds, 1, kSeedsMax),
       .defaultValue = "1"},
      {.name = "--jobs",
       .placeholder = "J",
       .help = "run J seeds at the same time",
       .store = storeIn(many.jobs, 1, kJobsMax),
       .defaultValue = "1"},
      {.name = "--link-hours",
       .placeholder = "L",
       .help = "start no further seed after L link-hours",
       .store = storeIn(many.linkHoursMax, 1, kLinkHoursMax)},
      {.name = "--expect-all",
       .placeholder = "",
       .help = "fail if a fault, a kind of fault, a cause or a trace text occurred fewer than " +
               std::to_string(kOccurrencesMin) + " times",
       .store = setFlag(many.expectAll)}};
}

}  // namespace

Command simulateCommand() {
  const auto many = std::make_shared<ManyPlan>();
  return {
      .name = "simulate",
      .summary = "simulate four hosts under faults in virtual time and check their behaviour",
      .details =
          {"Two machines run two hosts each. Links in both roles connect the machines, and texts travel "
           "on all of them. The faults end after the last hour, and then every link must recover. A seed "
           "that breaks a rule runs again and is recorded into a new folder in TMPDIR or /tmp, unless "
           "--record is given. Ctrl-C ends the faults of the running seeds and prints the totals so far; a "
           "second one ends the command at once.",
           "Faults: " + allNames(", ")},
      .statuses = {{0, "no rule was broken"},
                   {kBroken, "a rule was broken; seed, host, link and moment are named"},
                   {kNotStarted, "an argument is invalid"},
                   {kOutputNotWritten, "standard output could not be written"},
                   {kInterrupted, "Ctrl-C ended it before any rule was broken"}},
      .examples = {{"quarn simulate --seed 7 --hours 24", ""},
                   {"quarn simulate --seed 1 --seeds 1000 --jobs 2 --hours 25 --expect-all", ""},
                   {"quarn simulate --seed 7 --hours 1 --faults clock-back,stall --record /tmp/seven", ""},
                   {"quarn replay /tmp/seven/*.jsonl", ""}},
      .arguments = argumentsFor(*many),
      .run = [many] { return runSimulation(*many); }};
}

}  // namespace quarnex::tool
