// Finds the first mismatch or broken rule in a recording, and shrinks the recording to the steps that
// reproduce it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <istream>
#include <optional>
#include <string>
#include <vector>

#include "recording/format/recording_reader.h"
#include "recording/player/player.h"
#include "recording/shrinker/checker.h"

namespace quarnex::recording {

/// The first mismatch between the recording and its replay, or else the checker's first finding; or neither.
struct Problem {
  std::optional<Mismatch> mismatch;
  std::optional<Finding> finding;
  std::int32_t utcOffset = 0;         // of local time at the beginning of the recording, in seconds
  std::size_t end = 0;                // line number behind the step that shows the problem
  std::vector<std::int16_t> links;    // affected links; empty if unknown
  std::optional<DamagedLine> damage;  // the damaged line that ended the replay early

  bool found() const { return mismatch || finding; }
};

/// Replays `in` up to the first problem. Throws `DamagedLine` if the first line is damaged.
Problem findProblem(std::istream& in, const MakeChecker& makeChecker);

/// Numbers of removed steps, by reason.
struct RemovedSteps {
  std::size_t ofOtherLinks = 0;
  std::size_t withoutEffect = 0;  // the engine's state stayed the same
  std::size_t repetitions = 0;    // they led back to an earlier state of the engine
  std::size_t others = 0;         // the problem appears without them, as a trial showed
};

struct ShrinkResult {
  Problem problem;
  std::size_t stepsBefore = 0;  // up to the step that shows the problem
  std::size_t stepsAfter = 0;
  RemovedSteps removed;
  std::string recording;  // the shrunk recording; "" if there is none
};

/// Reads `in` several times from its beginning. If removed steps took time, the steps before them move to a
/// later time. Takes about a minute at most. Returns no recording if there is no problem, or if the problem
/// does not appear again when the inputs are replayed to a fresh engine. Throws `DamagedLine` if the first
/// line is damaged.
ShrinkResult shrink(std::istream& in, const MakeChecker& makeChecker);

}  // namespace quarnex::recording
