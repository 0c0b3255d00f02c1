// Checks whether fewer steps than the whole recording still reproduce its problem.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "recording/shrinker/checker.h"
#include "recording/shrinker/problem.h"
#include "recording/shrinker/renumbering.h"
#include "recording/shrinker/reproduction.h"

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
  void expectStateOf(Reproduction& reproduction, const RecordedStep& last);

  /// From now on, links and sockets in the steps have their new numbers.
  void renumber(const Renumbering& renumbering);

  /// Number of steps, from the first on, that reproduce the problem; 0 if they do not. `recording`, if given,
  /// gets the recording of these.
  std::size_t reproducedBy(const Steps& steps, std::string* recording = nullptr);

  /// A fresh engine to replay steps to.
  Reproduction newReproduction() const { return {utcOffset_, makeChecker_}; }
  const Problem& problem() const { return problem_; }
  /// Steps replayed so far, in all reproductions.
  std::uint64_t stepsReplayed() const { return stepsReplayed_; }

 private:
  bool mismatchReproduced(Reproduction& reproduction, const RecordedStep& last, std::string* recording) const;
  bool isCompared(const Line& output, const Library& library) const;

  Problem problem_;
  std::int32_t utcOffset_;
  MakeChecker makeChecker_;
  std::string state_;                // of the engine before the last step
  std::vector<std::string> before_;  // outputs of the last step before the mismatch
  std::uint64_t stepsReplayed_ = 0;
};

}  // namespace quarnex::recording
