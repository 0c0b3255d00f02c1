// Texts of a recording and their bytes (one character of code 0 to 255 is one byte), and how they are shown.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quarnex::recording {

/// Turns `text`, which is valid UTF-8, into its bytes, in place. False if it has a character above 255; the
/// text is then of no use any more.
[[nodiscard]] bool toBytes(std::string& text);

/// So many characters at most become of one byte.
constexpr std::size_t kEscapedMax = 6;
/// Writes `bytes` as the inside of a JSON string, UTF-8; control characters, quotes and backslashes are
/// escaped. At `to` there is room for `kEscapedMax` characters a byte. Returns the end of what it wrote.
char* escapeTo(char* to, std::string_view bytes);
std::string escaped(std::string_view bytes);

/// The same with its quotes.
std::string jsonString(std::string_view bytes);

/// A line of JSON, fit for a terminal: control characters that JSON lets stand are escaped.
std::string terminalSafe(std::string_view line);

/// The first `most` bytes of UTF-8 `text`, or a few less, so that no character is cut.
std::string_view shortened(std::string_view text, std::size_t most);

}  // namespace quarnex::recording
