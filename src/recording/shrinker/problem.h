// Finds the first mismatch or broken rule in a recording.
#pragma once

#include <cstddef>
#include <cstdint>
#include <istream>
#include <optional>
#include <vector>

#include "recording/format/recording_reader.h"
#include "recording/player/player.h"
#include "recording/shrinker/checker.h"

namespace quarnex::recording {

/// The first mismatch between the recording and its replay, or else the checker's first finding; or neither.
struct Problem {
  std::optional<Mismatch> mismatch;
  std::optional<Finding> finding;
  std::size_t end = 0;                // line number behind the step that shows the problem
  std::vector<std::int16_t> links;    // affected links; empty if unknown
  std::optional<DamagedLine> damage;  // the damaged line that ended the replay early

  bool found() const { return mismatch || finding; }
};

/// Replays `in` up to the first problem. Throws `DamagedLine` if the first line is damaged.
Problem findProblem(std::istream& in, const MakeChecker& makeChecker);

/// Index of the link that a line concerns in `library`, 0 if none in particular.
std::int16_t linkOf(const Library& library, const Line& line);

}  // namespace quarnex::recording
