// Checks whether fewer steps than the whole recording still reproduce its problem.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "recording/format/line_parser.h"
#include "recording/format/line_writer.h"
#include "recording/shrinker/checker.h"
#include "recording/shrinker/renumbering.h"
#include "recording/shrinker/reproduction.h"
#include "recording/shrinker/shrinker.h"

namespace quarnex::recording {

using Steps = std::vector<RecordedStep>;

/// Replays the steps to a fresh engine. A finding must be reported again, with the same text. A mismatch must
/// be the same one, in the last step, and the engine must enter that step in the same state as in the whole
/// recording. The state shows that the omitted steps do not matter: the engine that made the recording can no
/// longer be asked what it would have done without them.
class ReproductionCheck {
 public:
  /// `problem` was found in a recording that begins with this offset of local time, in seconds.
  ReproductionCheck(Problem problem, std::int32_t utcOffset, MakeChecker makeChecker)
      : problem_(std::move(problem)), utcOffset_(utcOffset), makeChecker_(std::move(makeChecker)) {}

  /// Remembers the state to reach from `reproduction`, which has replayed all steps before `last`.
  void expectStateOf(Reproduction& reproduction, const RecordedStep& last) {
    state_ = reproduction.controlStateOf(problem_.links, last.at());
    before_.clear();
    if (!problem_.mismatch) return;
    reproduction.replay(last);
    for (const Line& line : *last.lines) {
      if (isCompared(line, reproduction.library())) before_.push_back(textOf(line));
    }
  }

  /// From now on, links and sockets in the steps have their new numbers.
  void renumber(const Renumbering& renumbering) {
    std::iota(problem_.links.begin(), problem_.links.end(), std::int16_t{1});
    for (std::string& text : before_) text = renumbering.renumbered(text);
    if (!problem_.mismatch) return;
    problem_.mismatch->expected.text = renumbering.renumbered(problem_.mismatch->expected.text);
    problem_.mismatch->actual = renumbering.renumbered(problem_.mismatch->actual);
  }

  /// Number of steps, from the first on, that reproduce the problem; 0 if they do not.
  std::size_t reproducedBy(const Steps& steps) {
    Reproduction reproduction = newReproduction();
    recording_ = reproduction.header();
    const bool forMismatch = problem_.mismatch.has_value();
    for (std::size_t count = 0; count < steps.size();) {
      const RecordedStep& step = steps[count++];
      ++stepsReplayed_;
      if (forMismatch && count == steps.size()) return mismatchReproduced(reproduction, step) ? count : 0;
      recording_ += reproduction.replay(step);
      const std::optional<Finding> finding = reproduction.finding();
      if (!forMismatch && finding) return finding->text == problem_.finding->text ? count : 0;
    }
    return 0;
  }
  /// The recording of the steps that the last call of `reproducedBy` replayed.
  const std::string& recording() const { return recording_; }

  /// A fresh engine to replay steps to.
  Reproduction newReproduction() const { return {utcOffset_, makeChecker_}; }
  const Problem& problem() const { return problem_; }
  /// Steps replayed so far, in all reproductions.
  std::uint64_t stepsReplayed() const { return stepsReplayed_; }

 private:
  bool mismatchReproduced(Reproduction& reproduction, const RecordedStep& last) {
    if (reproduction.controlStateOf(problem_.links, last.at()) != state_) return false;
    const Mismatch& mismatch = *problem_.mismatch;
    LineParser parser;
    bool reproduced = false;
    std::size_t matched = 0;
    for (std::string_view rest = reproduction.replay(last); !rest.empty();) {
      const std::string_view text = rest.substr(0, rest.find('\n'));
      rest.remove_prefix(text.size() + 1);
      reproduced = matched == before_.size() && text == mismatch.actual;
      if (reproduced) break;
      if (isCompared(parser.parse(text), reproduction.library())) {
        if (matched == before_.size() || text != before_[matched]) return false;
        ++matched;
      }
      recording_.append(text) += '\n';
    }
    recording_.append(mismatch.expected.text) += '\n';
    return reproduced || (mismatch.actual == kNothingMore && matched == before_.size());
  }

  // A step for all links, such as a tick, lacks the outputs of links whose steps were removed.
  bool isCompared(const Line& output, const Library& library) const {
    if (std::holds_alternative<ResultLine>(output) || std::holds_alternative<FailureLine>(output))
      return true;
    if (std::holds_alternative<EndLine>(output)) return problem_.mismatch->actual == textOf(EndLine{});
    const bool isTrace = std::holds_alternative<TraceLine>(output);
    if (!isTrace && !std::holds_alternative<OperationLine>(output)) return false;
    const std::int16_t link = linkOf(library, output);
    return problem_.links.empty() || std::ranges::find(problem_.links, link) != problem_.links.end() ||
           (isTrace && link == 0);
  }

  Problem problem_;
  std::int32_t utcOffset_;
  MakeChecker makeChecker_;
  std::string state_;                // of the engine before the last step
  std::vector<std::string> before_;  // outputs of the last step before the mismatch
  std::string recording_;
  std::uint64_t stepsReplayed_ = 0;
};

}  // namespace quarnex::recording
