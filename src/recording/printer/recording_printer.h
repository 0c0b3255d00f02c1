// Prints a recording for people: local time, link, and each line in words.
#pragma once

#include <ostream>

#include "recording/format/recording_reader.h"

namespace quarnex::recording {

/// Prints the rest of the recording, one row per line: its number, the time if a step begins, the link, and
/// the line in words. Nested lines are indented. Ticks that do nothing and polls that find nothing are only
/// counted.
///
/// Throws `DamagedLine` at a damaged line, after printing those before it; for missing lines, after printing
/// everything.
void printRecording(RecordingReader& reader, std::ostream& out);

}  // namespace quarnex::recording
