// Runs a test: with its seed, once or twice, and keeps the recordings if it fails.
#include <algorithm>
#include <cstdlib>
#include <deque>
#include <exception>
#include <fstream>
#include <iostream>
#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <utility>

#include "quarnex/testing.h"
#include "testing/stage.h"

namespace quarnex::testkit {
namespace {

std::optional<std::string> variable(const char* name) {
  const char* const value = std::getenv(name);
  return value != nullptr && *value != '\0' ? std::optional<std::string>(value) : std::nullopt;
}

std::uint64_t numberIn(const std::string& name, const std::string& value) {
  std::istringstream digits(value);
  std::uint64_t number = 0;
  if (!(digits >> number) || !digits.eof()) throw WrongUse(name + " is not a number: " + value);
  return number;
}

void applyEnvironment(TestSettings& settings) {
  if (const auto seed = variable("QUARNEX_TEST_SEED")) settings.seed = numberIn("QUARNEX_TEST_SEED", *seed);
  if (const auto twice = variable("QUARNEX_TEST_TWICE"))
    settings.twice = numberIn("QUARNEX_TEST_TWICE", *twice) != 0;
  if (const auto runs = variable("QUARNEX_TEST_RARE"))
    settings.rareRuns = static_cast<unsigned>(numberIn("QUARNEX_TEST_RARE", *runs));
  if (const auto folder = variable("QUARNEX_TEST_RECORDINGS")) settings.recordings = *folder;
}

// A name is never used again.
std::filesystem::path newFolder(const std::filesystem::path& place, std::uint64_t seed) {
  std::filesystem::create_directories(place);
  const std::string name = "quarnex-test-" + std::to_string(seed);
  std::filesystem::path folder = place / name;
  for (int i = 2; !std::filesystem::create_directory(folder); ++i)
    folder = place / (name + '-' + std::to_string(i));
  return folder;
}

void keep(const RunLog& log, const std::filesystem::path& folder) {
  for (const auto& tape : log.tapes) {
    std::ofstream file(folder / tape->fileName(), std::ios::binary);
    file << tape->text();
    if (!file.flush()) throw std::runtime_error("the disk does not take " + tape->fileName());
  }
}

std::string_view linesOf(const RunLog& log, std::size_t step,
                         std::map<const EngineTape*, std::size_t>& begins) {
  const TapedStep& taken = log.steps[step];
  const std::size_t begin = std::exchange(begins[taken.tape], taken.end);
  return std::string_view(taken.tape->text()).substr(begin, taken.end - begin);
}

std::string_view lineAt(std::string_view text, std::size_t position) {
  if (position == text.size()) return "(end of the step)";
  const std::size_t begin = text.rfind('\n', position) + 1;  // npos + 1 is 0
  return text.substr(begin, text.find('\n', position) - begin);
}

std::string describe(const RunLog& log, std::size_t step, std::string_view one, std::string_view other) {
  const TapedStep& taken = log.steps[step];
  const auto [left, right] = std::ranges::mismatch(one, other);
  return "after " + secondsOf(taken.time) + ", " + taken.tape->fileName() +
         "\n  first run:  " + std::string(lineAt(one, static_cast<std::size_t>(left - one.begin()))) +
         "\n  second run: " + std::string(lineAt(other, static_cast<std::size_t>(right - other.begin())));
}

// "" if both runs are equal.
std::string firstDifference(const RunLog& one, const RunLog& other) {
  std::map<const EngineTape*, std::size_t> begins;
  for (std::size_t i = 0; i < std::min(one.steps.size(), other.steps.size()); ++i) {
    const std::string_view left = linesOf(one, i, begins);
    const std::string_view right = linesOf(other, i, begins);
    if (left != right) return describe(one, i, left, right);
    if (one.steps[i].tape->fileName() != other.steps[i].tape->fileName())
      return one.steps[i].tape->fileName() + " worked in the first run where " +
             other.steps[i].tape->fileName() + " did in the second";
  }
  return one.steps.size() == other.steps.size() ? "" : "one of them ended earlier";
}

/// One run of a test.
struct TestRun {
  TestRun(const std::function<void(TestSite&)>& test, const TestSettings& settings) {
    Stage stage(settings.seed, log, settings.rareRuns > 0);
    TestSite site = stage.site();
    try {
      test(site);
    } catch (...) {
      thrown = std::current_exception();
    }
    failed = thrown || (settings.failed && settings.failed());
    if (const RareMode* rare = stage.rare()) {
      met = rare->met();
      latestCauses = rare->latestCauses();
    }
  }

  RunLog log;
  std::exception_ptr thrown;
  std::set<std::string> met;  // in rare mode
  std::deque<std::string> latestCauses;
  bool failed = false;
};

// Never throws, because the failure of the test matters more.
void explain(const TestSettings& settings, const TestRun& run) {
  const std::string seed = std::to_string(settings.seed);
  for (const std::string& cause : run.latestCauses) std::cerr << "quarnex: " << cause << '\n';
  std::cerr << "quarnex: the test failed with seed " << seed << "; repeat it with QUARNEX_TEST_SEED=" << seed
            << (settings.rareRuns > 0 ? " QUARNEX_TEST_RARE=1\n" : "\n");
  try {
    const std::filesystem::path folder = newFolder(settings.recordings, settings.seed);
    keep(run.log, folder);
    std::cerr << "quarnex: " << run.log.tapes.size() << " recordings are in " << folder.string()
              << ", for quarn replay --print\n";
  } catch (const std::exception& problem) {
    std::cerr << "quarnex: the recordings are not kept: " << problem.what() << '\n';
  }
}

// Repeats a run and compares the two.
void runAgain(const std::function<void(TestSite&)>& test, const TestSettings& settings,
              const TestRun& first) {
  const TestRun second(test, settings);
  const std::string difference = firstDifference(first.log, second.log);
  if (second.failed || !difference.empty()) explain(settings, second);
  if (!difference.empty())
    throw TestFailed("two runs with seed " + std::to_string(settings.seed) + " differ: " + difference);
  if (second.thrown) std::rethrow_exception(second.thrown);
}

/// Returns the outcomes that are not in `met`, and prints them.
std::vector<RareOutcome> neverMet(const std::set<std::string>& met, unsigned runs) {
  std::vector<RareOutcome> missing = rareOutcomes();
  std::erase_if(missing,
                [&met](const RareOutcome& outcome) { return met.contains(std::string(outcome.name)); });
  std::cerr << "quarnex: " << runs << " runs in rare mode; " << missing.size()
            << " rare outcomes never happened\n";
  for (const RareOutcome& outcome : missing)
    std::cerr << "quarnex:   " << outcome.name << ": " << outcome.meaning << '\n';
  return missing;
}

}  // namespace

std::vector<RareOutcome> simulate(const std::function<void(TestSite&)>& test, TestSettings settings) {
  applyEnvironment(settings);
  std::set<std::string> met;
  for (unsigned runs = std::max(settings.rareRuns, 1U); runs > 0; --runs, ++settings.seed) {
    TestRun run(test, settings);
    if (run.failed) explain(settings, run);
    if (run.thrown) std::rethrow_exception(run.thrown);
    if (run.failed) return {};
    if (settings.twice) runAgain(test, settings, run);
    met.merge(run.met);
  }
  return settings.rareRuns > 0 ? neverMet(met, settings.rareRuns) : std::vector<RareOutcome>();
}

}  // namespace quarnex::testkit
