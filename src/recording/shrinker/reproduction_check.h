// SymptomCheck: whether fewer steps than a recording has still show what is wrong in it.
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

using Steps = std::vector<Step>;

/// Steps are fed to a fresh engine and recorded anew. A finding must be found again. A difference must be the
/// same one, in the last step, and the engine must come to that step in the state in which the whole
/// recording brought it there: that is what tells that the steps left out do not matter, since what the
/// engine that made the recording would have done without them cannot be asked any more.
class SymptomCheck {
 public:
  /// Of a recording that begins with this offset of local time.
  SymptomCheck(Symptom symptom, std::int32_t utcOffset, MakeJudge makeJudge);

  /// Takes the state to come to from `rerun`, which has been fed all steps before `last`.
  void expectStateOf(Rerun& rerun, const Step& last);

  /// The steps to come have other numbers.
  void renumber(const Renumbering& renumbering);

  /// How many of the steps, from the first on, show the symptom; 0 if they do not.
  std::size_t shownBy(const Steps& steps) { return feed(steps, nullptr); }
  /// The recording of steps that show it.
  std::string recordingOf(const Steps& steps);

  /// An engine to feed steps to.
  Rerun newRerun() const { return {utcOffset_, makeJudge_}; }
  const Symptom& symptom() const { return symptom_; }
  /// Fed so far.
  std::uint64_t stepsFed() const { return stepsFed_; }

 private:
  std::size_t feed(const Steps& steps, std::string* recording);
  bool differs(Rerun& rerun, const Step& last, std::string* recording) const;
  bool isCompared(const Line& output, const Library& library) const;

  Symptom symptom_;
  std::int32_t utcOffset_;
  MakeJudge makeJudge_;
  std::string state_;                // before the last step
  std::vector<std::string> before_;  // what comes out in it before the difference
  std::uint64_t stepsFed_ = 0;
};

}  // namespace quarnex::recording
