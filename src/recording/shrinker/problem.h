// Symptom: what is wrong in a recording.
#pragma once

#include <cstddef>
#include <cstdint>
#include <istream>
#include <optional>
#include <vector>

#include "recording/format/recording_reader.h"
#include "recording/player/difference.h"
#include "recording/shrinker/checker.h"

namespace quarnex::recording {

/// The first difference from the present engine, or else the first thing that the judge finds; or neither.
struct Symptom {
  std::optional<Difference> difference;
  Finding finding;
  std::size_t end = 0;                // the last step before this line shows it
  std::vector<std::int16_t> links;    // that it concerns; empty if that cannot be told
  std::optional<DamagedLine> damage;  // where playing had to end, if it came to that

  bool isNone() const { return !difference && finding.text.empty(); }
};

/// Plays `in` until it shows something. Throws `DamagedLine` for the first line.
Symptom symptomOf(std::istream& in, const MakeJudge& makeJudge);

/// The link that a line concerns in that library, 0 if none in particular.
std::int16_t linkOf(const Library& library, const Line& line);

}  // namespace quarnex::recording
