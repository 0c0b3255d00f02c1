// What a line means: its values checked against the format, and put into a Line.
#pragma once

#include <cstdint>

#include "recording/format/json_fields.h"
#include "recording/format/line.h"

namespace quarnex::recording {

/// The offset that the first line gives. Damage if it is no first line, or of a version that is unknown.
std::int32_t headerOffset(LineFields& fields);

/// Damage if the line is none of the format's, or a value of a step or an input is missing or out of its
/// range. With such a value an output is a `NoOutput`: outputs are compared, not obeyed.
void fillLine(Line& line, LineFields& fields);

}  // namespace quarnex::recording
