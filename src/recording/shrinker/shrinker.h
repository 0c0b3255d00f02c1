// Cuts a recording that shows something wrong down to the steps that matter.
#pragma once

#include <cstddef>
#include <istream>
#include <string>

#include "recording/shrinker/checker.h"
#include "recording/shrinker/problem.h"

namespace quarnex::recording {

/// How many steps went for which reason.
struct Cuts {
  std::size_t ofOtherLinks = 0;
  std::size_t withoutEffect = 0;  // the engine was afterwards as before
  std::size_t repetitions = 0;    // they led back to a state in which it had been
  std::size_t others = 0;         // tried: it goes without them
};

struct Shrunk {
  Symptom symptom;
  std::size_t stepsBefore = 0;  // up to the one that shows it
  std::size_t stepsAfter = 0;
  Cuts cuts;
  std::string recording;  // the reduced one; "" if there is none
};

/// Reads `in` several times from its beginning. Where steps are left out that took time, the earlier ones
/// come later. The effort is bounded, to about a minute. Without a symptom there is nothing to shrink; nor
/// can a recording be shrunk whose symptom does not come again when its inputs are fed to a fresh engine.
/// Throws `DamagedLine` for the first line.
Shrunk shrink(std::istream& in, const MakeJudge& makeJudge);

}  // namespace quarnex::recording
