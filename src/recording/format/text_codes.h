// Converts texts of a recording to bytes and back (a character of code 0 to 255 is one byte), and for
// display.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quarnex::recording {

/// Converts `text`, valid UTF-8, to its bytes in place. Returns false, with `text` unspecified, if it has a
/// character above 255.
[[nodiscard]] bool toBytes(std::string& text);

/// Maximum number of output characters for one input byte.
constexpr std::size_t kEscapedMax = 6;
/// Writes `bytes` as the inside of a JSON string in UTF-8, with control characters, quotes and backslashes
/// escaped. `to` needs room for `kEscapedMax` characters per byte. Returns the end of the output.
char* escapeTo(char* to, std::string_view bytes);
std::string escaped(std::string_view bytes);

/// The same with quotes around it.
std::string jsonString(std::string_view bytes);

/// Makes a line of JSON safe for a terminal: escapes the control characters that JSON permits unescaped.
std::string terminalSafe(std::string_view line);

}  // namespace quarnex::recording
