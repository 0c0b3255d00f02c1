// Plays a recording to a fresh engine and tells whether it still does the same.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "recording/difference.h"
#include "recording/recording_reader.h"

namespace quarnex::recording {

struct PlayResult {
  std::optional<Difference> difference;  // the first one; the rest of the recording was not played
  std::optional<DamagedLine> damage;     // the line that could not be read; everything before it was played
  std::size_t lines = 0;                 // played
  std::size_t steps = 0;                 // host calls, ticks and events
  int links = 0;                         // in the engine's table at the end
  std::int64_t seconds = 0;              // from the first step to the last reading of the clock
};

/// Plays all that `reader` still has. Nothing outside the process is touched.
PlayResult play(RecordingReader& reader);

}  // namespace quarnex::recording
