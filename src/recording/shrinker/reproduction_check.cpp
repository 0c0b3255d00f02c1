#include "recording/shrinker/reproduction_check.h"

#include <algorithm>
#include <string_view>

#include "recording/format/line_parser.h"
#include "recording/format/line_writer.h"

namespace quarnex::recording {
namespace {

constexpr std::string_view kEndOfNested = "{\"end\":true}";

}  // namespace

void ReproductionCheck::expectStateOf(Reproduction& reproduction, const RecordedStep& last) {
  state_ = reproduction.controlStateOf(problem_.links, last.at());
  before_.clear();
  if (!problem_.mismatch) return;
  reproduction.replay(last);
  for (const Line& line : *last.lines) {
    if (isCompared(line, reproduction.library())) before_.push_back(textOf(line));
  }
}

std::size_t ReproductionCheck::reproducedBy(const Steps& steps, std::string* recording) {
  Reproduction reproduction = newReproduction();
  if (recording != nullptr) *recording = reproduction.header();
  const bool forMismatch = problem_.mismatch.has_value();
  for (std::size_t count = 0; count < steps.size();) {
    const RecordedStep& step = steps[count++];
    ++stepsReplayed_;
    if (forMismatch && count == steps.size())
      return mismatchReproduced(reproduction, step, recording) ? count : 0;
    const std::string& lines = reproduction.replay(step);
    if (recording != nullptr) *recording += lines;
    const std::optional<Finding> finding = reproduction.finding();
    if (!forMismatch && finding) return finding->text == problem_.finding->text ? count : 0;
  }
  return 0;
}

bool ReproductionCheck::mismatchReproduced(Reproduction& reproduction, const RecordedStep& last,
                                           std::string* recording) const {
  if (reproduction.controlStateOf(problem_.links, last.at()) != state_) return false;
  const Mismatch& mismatch = *problem_.mismatch;
  const std::string& lines = reproduction.replay(last);
  LineParser parser;
  bool reproduced = false;
  std::size_t matched = 0;
  for (std::string_view rest = lines; !rest.empty();) {
    const std::string_view text = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(text.size() + 1);
    reproduced = matched == before_.size() && text == mismatch.actual;
    if (reproduced) break;
    if (isCompared(parser.parse(text), reproduction.library())) {
      if (matched == before_.size() || text != before_[matched]) return false;
      ++matched;
    }
    if (recording != nullptr) recording->append(text) += '\n';
  }
  if (recording != nullptr) recording->append(mismatch.expected.text) += '\n';
  return reproduced || (mismatch.actual == kNothingMore && matched == before_.size());
}

// A step for all links, such as a tick, lacks the outputs of links whose steps were removed.
bool ReproductionCheck::isCompared(const Line& output, const Library& library) const {
  if (std::holds_alternative<ResultLine>(output) || std::holds_alternative<FailureLine>(output)) return true;
  if (std::holds_alternative<EndLine>(output)) return problem_.mismatch->actual == kEndOfNested;
  const bool isTrace = std::holds_alternative<TraceLine>(output);
  if (!isTrace && !std::holds_alternative<OperationLine>(output)) return false;
  const std::int16_t link = linkOf(library, output);
  return problem_.links.empty() || std::ranges::find(problem_.links, link) != problem_.links.end() ||
         (isTrace && link == 0);
}

void ReproductionCheck::renumber(const Renumbering& renumbering) {
  problem_.links = renumbering.links();
  for (std::string& text : before_) text = renumbering.renumbered(text);
  if (!problem_.mismatch) return;
  problem_.mismatch->expected.text = renumbering.renumbered(problem_.mismatch->expected.text);
  problem_.mismatch->actual = renumbering.renumbered(problem_.mismatch->actual);
}

}  // namespace quarnex::recording
