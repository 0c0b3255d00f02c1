// A line that was read, written again; and a line that stands alone, read.
#pragma once

#include <string>
#include <string_view>

#include "recording/format/line.h"

namespace quarnex::recording {

/// The line as the recorder writes it, whatever the order of its keys was, without its line end.
std::string lineOf(const Line& line);

/// Reads one line without its line end. Damage if it is none of the format's.
Line readLine(std::string_view text);

}  // namespace quarnex::recording
