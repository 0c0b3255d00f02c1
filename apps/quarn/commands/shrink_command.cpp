// Reduces recordings to the steps that matter (quarn shrink).
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>
#include <system_error>

#include "quarn/commands.h"
#include "quarn/console.h"
#include "quarn/printable.h"
#include "quarn/utf8.h"
#include "recording/shrinker/shrinker.h"
#include "simulation/checks/engine_watch.h"

namespace quarnex::tool {
namespace {

constexpr int kReduced = 0;
constexpr int kNotReduced = 1;
constexpr int kDamaged = kNotStarted;

struct ShrinkOptions {
  std::string file;
  std::string output;
};

int reportProblem(const std::string& file, const std::string& problem, int status = kDamaged) {
  std::cerr << "quarn: " << printable(file) << ": " << problem << '\n';
  return status;
}

std::string systemError() {
  return std::generic_category().message(errno);
}

// "site.jsonl" and "site.jsonl.gz" become "site.min.jsonl".
std::string outputOf(const ShrinkOptions& options) {
  if (!options.output.empty()) return options.output;
  std::string_view file = options.file;
  for (const std::string_view end : {".gz", ".jsonl"})
    if (file.ends_with(end)) file.remove_suffix(end.size());
  return std::string(file) + ".min.jsonl";
}

std::string inWords(const recording::Problem& problem) {
  if (problem.mismatch) return "line " + std::to_string(problem.mismatch->expected.number) + " differs";
  const std::string line = "line " + std::to_string(problem.end - 1) + ": ";
  const std::string link =
      problem.finding->link == 0 ? "" : "link " + std::to_string(problem.finding->link) + ": ";
  return line + link + problem.finding->text;
}

void printResult(const std::string& file, const recording::ShrinkResult& result, const std::string& output) {
  const recording::RemovedSteps& removed = result.removed;
  std::cout << file << ": " << inWords(result.problem) << '\n'
            << "  " << result.stepsBefore << " steps up to that line; removed: " << removed.ofOtherLinks
            << " of other links, " << removed.withoutEffect << " without effect, " << removed.repetitions
            << " that led back to an earlier state of the engine, " << removed.others << " others\n  "
            << counted(result.stepsAfter, "step") << " left: " << output << '\n';
}

int writeOut(const ShrinkOptions& options, const recording::ShrinkResult& result) {
  const std::string output = outputOf(options);
  std::ofstream out(pathOf(output), std::ios::binary);
  out << result.recording << std::flush;
  if (!out) return reportProblem(output, "cannot be written: " + systemError());
  printResult(options.file, result, output);
  return kReduced;
}

int shrink(const ShrinkOptions& options, std::istream& in) {
  const recording::ShrinkResult result = recording::shrink(in, simulation::checkEngine);
  if (!result.recording.empty()) return writeOut(options, result);
  if (result.problem.found()) {
    return reportProblem(
        options.file, inWords(result.problem) + ", but a fresh engine with the same inputs does not show it",
        kNotReduced);
  }
  if (result.problem.damage) return reportProblem(options.file, result.problem.damage->what());
  return reportProblem(options.file, "no difference and no broken rule: nothing to shrink", kNotReduced);
}

int openAndShrink(const ShrinkOptions& options) {
  std::error_code ignored;
  const std::string& file = options.file;
  const std::string output = outputOf(options);
  if (std::filesystem::exists(pathOf(file), ignored) &&
      !std::filesystem::is_regular_file(pathOf(file), ignored))
    return reportProblem(file, "cannot be read twice; give a regular file");
  if (std::filesystem::equivalent(pathOf(file), pathOf(output), ignored))
    return reportProblem(output, "is the recording itself; give another file for the result");
  std::ifstream in(pathOf(file), std::ios::binary);
  if (!in) return reportProblem(file, "cannot be opened: " + systemError());
  try {
    return shrink(options, in);
  } catch (const recording::DamagedLine& damage) {
    return reportProblem(file, damage.what());
  }
}

}  // namespace

Command shrinkCommand() {
  const auto options = std::make_shared<ShrinkOptions>();
  return {
      .name = "shrink",
      .summary = "reduce a recording that differs or breaks a rule to the steps that show it",
      .details = {"The last step of the result still shows the same difference or breaks the same rule. "
                  "Shrinking takes up to about a minute."},
      .statuses =
          {{kReduced, "the result was written"},
           {kNotReduced, "there is nothing to shrink"},
           {kDamaged,
            "the recording is damaged, a file cannot be read or written, or the command line is invalid"},
           {kOutputNotWritten, "the result was written, but standard output could not be"}},
      .examples = {{"quarn shrink site.jsonl", "write site.min.jsonl"},
                   {"quarn replay --print site.min.jsonl", "print the result, step by step"}},
      .arguments = {{.name = "FILE",
                     .placeholder = "",
                     .help = "a recording",
                     .store = storeIn(options->file),
                     .completion = Completion::Files,
                     .required = true},
                    {.name = "--output",
                     .placeholder = "FILE",
                     .help = "file for the result; by default beside the recording, with .min in its name",
                     .store = storeIn(options->output),
                     .completion = Completion::Files}},
      .run = [options] { return openAndShrink(*options); }};
}

}  // namespace quarnex::tool
