// Builds texts from pieces (texts, characters, numbers) without intermediate copies.
#pragma once

#include <charconv>
#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>

namespace quarnex {

/// A number in a text, filled with zeros to at least `digits` digits (1 to 20) behind its sign: -3 with 2 is
/// "-03".
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
/// A piece that costs something to make is handed over as a function that makes it.
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

/// Empties a text, and gives its memory back if that is much.
void clearText(std::string& text);

}  // namespace quarnex
