// Writes texts, events and the end of a session as lines of JSON (--json).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "answers/json_values.h"
#include "quarn/session/line_warnings.h"

namespace quarnex::tool {

/// Begins a line with its type and the time of now.
JsonObject beginLine(std::string_view type);

/// Adds a text of any bytes. If it is well-formed UTF-8, the value has the same characters. Otherwise each
/// byte is one character of the same code, 0 to 255, and the object gets the member "encoding":"bytes".
void addText(JsonObject& line, std::string_view text);

/// The event as `quarn rpc` writes it, with its time in words and, for receipts, the input lines.
std::string lineOf(const LinkEvent& event, const NumberedRange& lines);

}  // namespace quarnex::tool
