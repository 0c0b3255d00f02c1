#include "quarn/simulate_command.h"

#include <charconv>
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

#include "quarn/console.h"
#include "quarn/simulation_report.h"
#include "simulation/campaign/many_runs.h"
#include "simulation/campaign/record_again.h"
#include "simulation/sites/site.h"

namespace quarnex::tool {
namespace {

using simulated::Fault;

constexpr int kBroken = 1;
constexpr int kWrongUsage = 2;
constexpr std::uint64_t kHoursMax = 100'000;
constexpr simulated::Milliseconds kHour = 3'600'000;
constexpr std::uint64_t kSeedsMax = 1'000'000;
constexpr std::uint64_t kJobsMax = 256;
constexpr std::uint64_t kLinkHoursMax = 1'000'000'000;
constexpr std::uint64_t kLeastSeen = 10;

struct SimulateOptions {
  std::string seed;
  std::string hours = "1";
  std::string links = "10";
  std::string faults = "all";
  std::optional<std::string> directory;
  std::string seeds = "1";
  std::string jobs = "1";
  std::optional<std::string> linkHours;
  bool expectAll = false;
};

struct ManyPlan {
  simulation::RunPlan plan;
  std::uint64_t seeds = 1;
  unsigned jobs = 1;
  double linkHoursEnough = 0;  // 0 = all seeds
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

std::uint64_t numberOf(const std::string& option, const std::string& text, std::uint64_t low,
                       std::uint64_t high) {
  std::uint64_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, number);
  if (error == std::errc() && rest == end && number >= low && number <= high) return number;
  throw std::invalid_argument(option + " \"" + text + "\": give a whole number from " + std::to_string(low) +
                              " to " + std::to_string(high));
}

std::string allNames() {
  std::string names;
  for (std::size_t i = 0; i < simulated::kFaultCount; ++i)
    (names += i == 0 ? "" : ",") += nameOf(static_cast<Fault>(i));
  return names;
}

simulated::FaultSet faultsOf(const std::string& list) {
  simulated::FaultSet faults;
  if (list == "none") return faults;
  std::string_view rest = list;
  if (rest == "all" || rest.starts_with("all,")) {
    faults = simulated::FaultSet::all();
    if (rest.size() == 3) return faults;
    rest.remove_prefix(4);
  }
  for (;;) {
    const std::string_view name = rest.substr(0, rest.find(','));
    const auto fault = simulated::faultNamed(name);
    if (!fault)
      throw std::invalid_argument("--faults \"" + std::string(name) + "\": give all, none, or some of " +
                                  allNames());
    faults.add(*fault);
    if (name.size() == rest.size()) return faults;
    rest.remove_prefix(name.size() + 1);
  }
}

// Made if there is none. Better known now than after the hours of the run.
bool takesRecordings(const std::filesystem::path& directory) {
  std::error_code ignored;
  std::filesystem::create_directories(directory, ignored);
  return std::filesystem::is_directory(directory, ignored) &&
         std::ofstream(directory / "host1-1.jsonl", std::ios::app).is_open();
}

ManyPlan planOf(const SimulateOptions& options) {
  ManyPlan many;
  simulation::RunPlan& plan = many.plan;
  many.seeds = numberOf("--seeds", options.seeds, 1, kSeedsMax);
  many.jobs = static_cast<unsigned>(numberOf("--jobs", options.jobs, 1, kJobsMax));
  if (options.linkHours)
    many.linkHoursEnough =
        static_cast<double>(numberOf("--link-hours", *options.linkHours, 1, kLinkHoursMax));
  many.expectAll = options.expectAll;
  plan.seed = numberOf("--seed", options.seed, 0, std::numeric_limits<std::uint64_t>::max());
  plan.trouble =
      kHour * static_cast<simulated::Milliseconds>(numberOf("--hours", options.hours, 1, kHoursMax));
  plan.links = static_cast<int>(numberOf("--links", options.links, 1, simulated::kLinksMax));
  plan.faults = faultsOf(options.faults);
  if (!options.directory) return many;
  if (many.seeds > 1)
    throw std::invalid_argument("--record keeps the recordings of one seed: leave out --seeds");
  if (!takesRecordings(*options.directory))
    throw std::invalid_argument("--record \"" + *options.directory +
                                "\": give a directory that can be written or made");
  plan.recordDirectory = options.directory;
  return many;
}

void complain(const simulation::RunPlan& plan, std::uint64_t seed, const simulation::Finding& finding) {
  std::cout.flush();
  std::cerr << "quarn: seed " << seed << ", " << inSeconds(finding.at);
  if (finding.host != 0) std::cerr << ", host " << finding.host;
  if (finding.link != 0) std::cerr << ", link " << finding.link;
  std::cerr << ": " << finding.text;
  if (plan.recordDirectory) std::cerr << "; recordings are in " << plan.recordDirectory->string();
  std::cerr << '\n';
}

// Of a seed that went without them.
void keepRecordings(simulation::RunPlan plan, std::uint64_t seed) {
  if (plan.recordDirectory) return;
  plan.seed = seed;
  std::cerr << "quarn: recordings of seed " << seed;
  try {
    const auto folder = simulation::recordAgain(plan, std::filesystem::temp_directory_path());
    std::cerr << " are in " << folder.string() << '\n';
  } catch (const std::exception& failure) {
    std::cerr << " could not be kept: " << failure.what() << '\n';
  }
}

int simulateOne(const simulation::RunPlan& plan) {
  const Stopwatch watch;
  const simulation::RunResult result = simulation::simulate(plan);
  printRun(plan, result);
  std::cout.flush();
  printSpeed(result, watch.cpuSeconds(), watch.elapsedSeconds());
  if (result.finding) {
    complain(plan, plan.seed, *result.finding);
    keepRecordings(plan, plan.seed);
  }
  if (!result.recordingsWhole)
    std::cerr << "quarn: the disk did not take all recordings; give a directory with more room\n";
  return result.finding || !result.recordingsWhole ? kBroken : 0;
}

// Whichever of the two ends the run is named with its end.
void showProgress(Console& console, const ManyPlan& many, std::uint64_t runs, double linkHours) {
  std::string words = std::to_string(runs);
  if (many.linkHoursEnough == 0) words += " of " + std::to_string(many.seeds);
  words += " seeds, " + std::to_string(std::llround(linkHours));
  if (many.linkHoursEnough > 0) words += " of " + std::to_string(std::llround(many.linkHoursEnough));
  console.showProgress(words + " link-hours");
  console.output().flush();
}

void endProgress(Console& console) {
  console.showProgress("");
  console.output().flush();
}

// The first seed that fails ends it: those already begun run to their end.
int simulateSeveral(const ManyPlan& many) {
  const Stopwatch watch;
  Console console;
  simulation::RunNumbers sums;
  std::uint64_t runs = 0;
  std::optional<std::uint64_t> failed;
  simulation::simulateMany(many.plan, many.seeds, many.jobs, [&](std::uint64_t seed, const auto& result) {
    ++runs;
    sums.add(result);
    showProgress(console, many, runs, sums.linkHours);
    if (result.finding) {
      endProgress(console);
      complain(many.plan, seed, *result.finding);
      failed = failed.value_or(seed);
    }
    return !failed && (many.linkHoursEnough == 0 || sums.linkHours < many.linkHoursEnough);
  });
  endProgress(console);
  printRuns(many.plan, runs, sums);
  std::cout.flush();
  printSpeed(sums, watch.cpuSeconds(), watch.elapsedSeconds());
  if (failed) keepRecordings(many.plan, *failed);
  if (!many.expectAll) return failed ? kBroken : 0;
  const auto missing = sums.seenLessThan(kLeastSeen, many.plan.faults);
  for (const std::string& name : missing)
    std::cerr << "quarn: " << name << " was seen fewer than " << kLeastSeen << " times\n";
  return failed || !missing.empty() ? kBroken : 0;
}

int simulateAndTell(const SimulateOptions& options) {
  try {
    const ManyPlan many = planOf(options);
    return many.seeds == 1 && !many.expectAll ? simulateOne(many.plan) : simulateSeveral(many);
  } catch (const std::invalid_argument& wrong) {
    std::cerr << "quarn: " << wrong.what() << '\n';
    return kWrongUsage;
  }
}

}  // namespace

void addSimulateCommand(CLI::App& app, int& exitStatus) {
  const auto options = std::make_shared<SimulateOptions>();
  CLI::App& command =
      *app.add_subcommand("simulate", "let faults befall four hosts in virtual time and check what they do");
  command.add_option("--seed", options->seed, "from which everything is drawn; same seed, same run")
      ->required()
      ->type_name("S");
  command.add_option("--hours", options->hours, "of trouble, before recovery is awaited")
      ->type_name("H")
      ->capture_default_str();
  command.add_option("--links", options->links, "of each host, 1000 at most with TCP")
      ->type_name("N")
      ->capture_default_str();
  command
      .add_option("--faults", options->faults,
                  "all, none, or names with commas; the seed draws of these, and takes the large\n"
                  "ones, endless and backlog, where they are named: all,backlog")
      ->type_name("LIST")
      ->capture_default_str();
  command.add_option("--record", options->directory, "keep a recording of each engine there")
      ->type_name("DIR");
  command.add_option("--seeds", options->seeds, "run so many seeds from S on, and print their sums")
      ->type_name("N")
      ->capture_default_str();
  command.add_option("--jobs", options->jobs, "so many of them at the same time")
      ->type_name("J")
      ->capture_default_str();
  command.add_option("--link-hours", options->linkHours, "begin no further seed once so many have passed")
      ->type_name("L");
  command.add_flag("--expect-all", options->expectAll,
                   "fail if a fault, a kind of one, a cause or a trace text was seen fewer than 10 times");
  command.footer(
      "Two machines with two hosts each; links in both roles run between the two, and texts travel on all "
      "of\n"
      "them. After the last hour the faults end, and every link must come back. A seed for which something\n"
      "did not hold runs once more, recorded into a fresh folder in TMPDIR or /tmp, unless --record is "
      "given.\n"
      "Faults: " +
      allNames() +
      "\n\nExit status: 0 all that must hold held, 1 something did not (seed, host, link and moment are "
      "named),\n2 an argument makes no sense.\n\n"
      "Examples:\n"
      "  quarn simulate --seed 7 --hours 24\n"
      "  quarn simulate --seed 1 --seeds 1000 --jobs 2 --hours 25 --expect-all\n"
      "  quarn simulate --seed 7 --hours 1 --faults clock-back,stall --record /tmp/seven\n"
      "  quarn replay /tmp/seven/*.jsonl");
  command.callback([options, &exitStatus] { exitStatus = simulateAndTell(*options); });
}

}  // namespace quarnex::tool
