// Replays a recording to a fresh engine and compares all that the engine does.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/records/library.h"
#include "recording/format/recording_reader.h"
#include "services/services.h"

namespace quarnex::recording {

struct NumberedLine {
  std::size_t number = 0;
  std::string text;
};

struct Mismatch {
  NumberedLine expected;             // the line of the recording
  std::string actual;                // the engine's output as a line, or kNothingMore
  std::vector<NumberedLine> steps;   // the steps in progress, the innermost last
  std::vector<NumberedLine> before;  // the lines before `expected`, at most kLinesBefore
  std::vector<std::int16_t> links;  // links that the two outputs, or else the step, concern; empty if unknown
};

constexpr std::size_t kLinesBefore = 10;

/// Stands for the engine's output if it ended the step instead.
constexpr std::string_view kNothingMore = "(nothing more: the step has ended)";

/// Describes the mismatch for people in several lines, each with its line feed. Very long lines are shown
/// around the first character that differs.
std::string reportOf(const Mismatch& mismatch);

struct ReplayResult {
  std::optional<Mismatch> mismatch;   // the first one; the replay ended there
  std::optional<DamagedLine> damage;  // the first damaged line; the replay ended there
  std::size_t lines = 0;              // replayed
  std::size_t steps = 0;              // host calls, ticks and events
  int links = 0;                      // in the engine's table at the end
  std::int64_t seconds = 0;           // from the first step to the last reading of the clock
};

/// Replays the rest of the recording: compares each output of the engine with the next line and supplies the
/// inputs behind that line. Uses no file, socket or clock. The replay ends at the end of the file, a damaged
/// line or the first mismatch. The engine then finishes its current step: its operations succeed, and nothing
/// is compared. It also ends after a step behind which `isOver`, if given, returns true.
///
/// `wrapper`, if given, stands between the engine and its services.
ReplayResult replay(RecordingReader& reader, ServicesWrapper* wrapper = nullptr,
                    const std::function<bool()>& isOver = nullptr);

/// Index of the link that a line concerns in `library`, 0 if none in particular.
std::int16_t linkOf(const Library& library, const Line& line);

}  // namespace quarnex::recording
