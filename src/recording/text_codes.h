// Texts of a recording and their bytes: one character of code 0 to 255 is one byte.
#pragma once

#include <string>
#include <string_view>

namespace quarnex::recording {

/// Turns `text`, which is valid UTF-8, into its bytes, in place. False if it has a character above 255; the
/// text is then of no use any more.
[[nodiscard]] bool toBytes(std::string& text);

/// `bytes` as a JSON string with its quotes, in plain ASCII: everything else is written \u00xx.
std::string quoted(std::string_view bytes);

}  // namespace quarnex::recording
