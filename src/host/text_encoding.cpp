#include <optional>
#include <string>
#include <string_view>

#include "engine/exchange/frame.h"
#include "quarnex/text_rules.h"

namespace quarnex {
namespace {

constexpr char kEscape = '~';

struct Escape {
  char byte;
  char letter;  // stands for the byte behind kEscape
};

constexpr Escape kEscapes[] = {{kStx, '2'}, {kEtx, '3'}, {'|', '!'}, {kEscape, kEscape}};

void appendEscaped(std::string& encoded, char byte) {
  for (const Escape& escape : kEscapes) {
    if (escape.byte != byte) continue;
    encoded += {kEscape, escape.letter};
    return;
  }
  encoded += byte;
}

std::optional<char> byteOf(char letter) {
  for (const Escape& escape : kEscapes) {
    if (escape.letter == letter) return escape.byte;
  }
  return std::nullopt;
}

bool arrivesUnchanged(std::string_view text) {
  return text.size() <= kSafeTextLength && checkText(text).rule == TextRule::None;
}

bool hasPrefix(std::string_view text) {
  return text.substr(0, kEncodedPrefix.size()) == kEncodedPrefix;
}

std::optional<std::string> unescaped(std::string_view escaped) {
  std::string text;
  for (std::size_t i = 0; i < escaped.size(); ++i) {
    if (escaped[i] != kEscape) {
      text += escaped[i];
      continue;
    }
    const std::optional<char> byte = ++i < escaped.size() ? byteOf(escaped[i]) : std::nullopt;
    if (!byte) return std::nullopt;
    text += *byte;
  }
  return text;
}

}  // namespace

std::optional<std::string> encodeText(std::string_view text) {
  if (arrivesUnchanged(text) && !hasPrefix(text)) return std::string(text);
  std::string encoded(kEncodedPrefix);
  for (std::size_t i = 0; i < text.size() && encoded.size() <= kSafeTextLength; ++i) {
    appendEscaped(encoded, text[i]);
  }
  if (encoded.size() > kSafeTextLength) return std::nullopt;
  return encoded;
}

std::optional<std::string> decodeText(std::string_view text) {
  if (!arrivesUnchanged(text)) return std::nullopt;
  if (!hasPrefix(text)) return std::string(text);
  return unescaped(text.substr(kEncodedPrefix.size()));
}

}  // namespace quarnex
