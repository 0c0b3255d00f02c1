#include "quarn/simulate_command.h"

#include <charconv>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "simulation/simulate_run.h"

namespace quarnex::tool {
namespace {

using simulated::Fault;

constexpr int kBroken = 1;
constexpr int kWrongUsage = 2;
constexpr std::int64_t kHoursMax = 100'000;

struct SimulateOptions {
  std::string seed;
  std::string hours = "1";
  std::string links = "10";
  std::string faults = "all";
  std::string directory;
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
  if (list == "all") return simulated::FaultSet::all();
  simulated::FaultSet faults;
  if (list == "none") return faults;
  for (std::string_view rest = list;;) {
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

simulation::RunPlan planOf(const SimulateOptions& options) {
  simulation::RunPlan plan;
  plan.seed = numberOf("--seed", options.seed, 0, std::numeric_limits<std::uint64_t>::max());
  plan.hours = static_cast<std::int64_t>(numberOf("--hours", options.hours, 1, kHoursMax));
  plan.links = static_cast<int>(numberOf("--links", options.links, 1, simulation::kLinksMax));
  plan.faults = faultsOf(options.faults);
  if (options.directory.empty()) return plan;
  std::error_code error;
  std::filesystem::create_directories(options.directory, error);
  if (error || !std::filesystem::is_directory(options.directory))
    throw std::invalid_argument("--record \"" + options.directory +
                                "\": give a directory that exists or can be made");
  plan.recordDirectory = options.directory;
  return plan;
}

std::string seconds(simulated::Milliseconds duration) {
  char text[32];
  std::snprintf(text, sizeof text, "%.1f s", static_cast<double>(duration) / 1000);
  return text;
}

void printFaults(const simulation::RunResult& result) {
  std::cout << "faults     ";
  for (std::size_t i = 0; i < simulated::kFaultCount; ++i) {
    const auto fault = static_cast<Fault>(i);
    if (result.mix.has(fault)) std::cout << ' ' << nameOf(fault) << ' ' << result.faults[i];
  }
  std::cout << '\n';
}

void printReports(const simulation::RunResult& result) {
  std::cout << "reports    ";
  for (const auto& [code, count] : result.reports) std::cout << ' ' << code << ": " << count;
  std::cout << '\n';
}

void print(const simulation::RunPlan& plan, const simulation::RunResult& result) {
  char hours[32];
  std::snprintf(hours, sizeof hours, "%.1f", result.linkHours);
  std::cout << "seed        " << plan.seed << '\n'
            << "time        " << seconds(result.duration) << " of virtual time, " << hours << " link-hours\n";
  printFaults(result);
  std::cout << "texts       " << result.textsSent << " sent, " << result.textsDelivered << " delivered, "
            << result.textsSent - result.textsDelivered << " not, " << result.textsAgain
            << " delivered again, " << result.textsOld << " late, " << result.textsForeign
            << " of strangers or damaged\n";
  printReports(result);
  std::cout << "work        " << result.steps << " steps, " << result.framesSent << " frames, "
            << result.connections << " connections, " << result.engines << " engines\n"
            << "recovery    " << seconds(result.recovery) << ", after " << seconds(result.aftermath)
            << " of stalls and clocks behind; leaving " << seconds(result.exit) << '\n';
  std::snprintf(hours, sizeof hours, "%016llx", static_cast<unsigned long long>(result.hash));
  std::cout << "recordings  " << hours << '\n';
}

// On standard error: it differs from run to run.
void printSpeed(const simulation::RunResult& result, double elapsed) {
  std::fprintf(stderr, "%.1f s, %.0f link-hours a second\n", elapsed, result.linkHours / elapsed);
}

int complain(const simulation::RunPlan& plan, const simulation::Finding& finding) {
  std::cout.flush();
  std::cerr << "quarn: seed " << plan.seed << ", " << seconds(finding.at);
  if (finding.host != 0) std::cerr << ", host " << finding.host;
  if (finding.link != 0) std::cerr << ", link " << finding.link;
  std::cerr << ": " << finding.text
            << (plan.recordDirectory ? "; recordings are in " + plan.recordDirectory->string()
                                     : std::string("; --record DIR keeps the recordings"))
            << '\n';
  return kBroken;
}

int simulateAndTell(const SimulateOptions& options) {
  simulation::RunPlan plan;
  try {
    plan = planOf(options);
  } catch (const std::invalid_argument& wrong) {
    std::cerr << "quarn: " << wrong.what() << '\n';
    return kWrongUsage;
  }
  const auto start = std::chrono::steady_clock::now();
  const simulation::RunResult result = simulation::simulate(plan);
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
  print(plan, result);
  std::cout.flush();
  printSpeed(result, elapsed.count());
  if (result.finding) return complain(plan, *result.finding);
  if (result.recordingsWhole) return 0;
  std::cerr << "quarn: the disk did not take all recordings; give a directory with more room\n";
  return kBroken;
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
  command.add_option("--links", options->links, "of each host")->type_name("N")->capture_default_str();
  command.add_option("--faults", options->faults, "all, none, or names with commas; the seed draws of these")
      ->type_name("LIST")
      ->capture_default_str();
  command.add_option("--record", options->directory, "keep a recording of each engine there")
      ->type_name("DIR");
  command.footer(
      "Two machines with two hosts each; links in both roles run between the two, and texts travel on all "
      "of\n"
      "them. After the last hour the faults end, and every link must come back.\n"
      "Faults: " +
      allNames() +
      "\n\nExit status: 0 all that must hold held, 1 something did not (seed, host, link and moment are "
      "named),\n2 an argument makes no sense.\n\n"
      "Examples:\n"
      "  quarn simulate --seed 7 --hours 24\n"
      "  quarn simulate --seed 7 --hours 1 --faults clock-back,stall --record /tmp/seven\n"
      "  quarn replay /tmp/seven/*.jsonl");
  command.callback([options, &exitStatus] { exitStatus = simulateAndTell(*options); });
}

}  // namespace quarnex::tool
