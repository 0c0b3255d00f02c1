// Builds texts from pieces (texts, characters, numbers) without intermediate copies.
#pragma once

#include <charconv>
#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>

namespace quarnex {

/// A number in a text, with leading zeros up to `digits` digits (1 to 20) after its sign: -3 with 2 is "-03".
struct ZeroPadded {
  std::int64_t number;
  int digits;
};

void append(std::string& text, ZeroPadded number);
inline void append(std::string& text, std::string_view piece) {
  text += piece;
}
inline void append(std::string& text, char piece) {
  text += piece;
}
template <std::integral Number>
void append(std::string& text, Number number) {
  char digits[24];
  const auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
  text.append(digits, end);
}
/// A piece that is costly to make: the function is called only when the text is built.
template <std::invocable Maker>
void append(std::string& text, const Maker& maker) {
  text += maker();
}

/// The pieces (texts, characters, numbers, `ZeroPadded`, functions) as one text.
template <class... Pieces>
std::string concat(const Pieces&... pieces) {
  std::string text;
  (append(text, pieces), ...);
  return text;
}

/// Empties a text and frees its memory if that exceeds `kKeptCapacityMax`.
void clearText(std::string& text);

}  // namespace quarnex
