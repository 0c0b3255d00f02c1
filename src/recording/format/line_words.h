// A line in words, for people.
#pragma once

#include <string>

#include "recording/format/line.h"

namespace quarnex::recording {

/// "Add("MIRTAN", 5, true, true)", "Connect on ClientSocket 1, code 10061", "> connect ClientSocket 1",
/// "< connect failed: 10055 No buffer space available". A trace is its text; `Now` and `End` have no words.
std::string wordsFor(const Line& line);

}  // namespace quarnex::recording
