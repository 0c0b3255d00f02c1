// Reads and writes characters of UTF-8.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>

namespace quarnex::tool {

struct Utf8Character {
  char32_t code = 0;
  std::size_t bytes = 0;  ///< 0: the text does not begin with a well-formed character
};

/// The first character of `text`, which is not empty.
Utf8Character firstCharacter(std::string_view text);

/// Appends the character of this code, at most 0x10FFFF and no surrogate.
void appendUtf8(std::string& text, char32_t code);

/// The path with this name in UTF-8. On POSIX, names are any bytes, which stay as they are.
inline std::filesystem::path pathOf(const std::string& name) {
  return std::u8string(name.begin(), name.end());
}

}  // namespace quarnex::tool
