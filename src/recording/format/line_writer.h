// Writes the lines of a recording, appending to one text: no library, no copies.
#pragma once

#include <cstdint>
#include <string>

#include "recording/format/line.h"

namespace quarnex::recording {

/// The first line of a recording.
void writeHeader(std::string& out, std::int32_t utcOffset);
/// Any other.
void writeLine(std::string& out, const LineParts& line);
/// The same alone, without its line end.
std::string lineOf(const LineParts& line);

}  // namespace quarnex::recording
