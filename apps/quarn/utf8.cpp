#include "quarn/utf8.h"

namespace quarnex::tool {
namespace {

constexpr char32_t kLargestCode = 0x10FFFF;
constexpr char32_t kSmallestCode[] = {0, 0, 0x80, 0x800, 0x10000};  // by number of bytes

bool isSurrogate(char32_t code) {
  return code >= 0xD800 && code <= 0xDFFF;
}

std::size_t lengthAfter(unsigned char lead) {
  if (lead < 0xC2 || lead > 0xF4) return 0;
  return lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
}

char continuation(char32_t code) {
  return static_cast<char>(0x80 | (code & 0x3F));
}

}  // namespace

Utf8Character firstCharacter(std::string_view text) {
  const auto lead = static_cast<unsigned char>(text.front());
  if (lead < 0x80) return {lead, 1};
  const std::size_t bytes = lengthAfter(lead);
  if (bytes == 0 || text.size() < bytes) return {};
  char32_t code = lead & (0x7FU >> bytes);
  for (std::size_t i = 1; i < bytes; ++i) {
    const auto next = static_cast<unsigned char>(text[i]);
    if ((next & 0xC0) != 0x80) return {};
    code = code << 6 | (next & 0x3F);
  }
  if (code < kSmallestCode[bytes] || code > kLargestCode || isSurrogate(code)) return {};
  return {code, bytes};
}

void appendUtf8(std::string& text, char32_t code) {
  if (code < kSmallestCode[2]) {
    text += static_cast<char>(code);
    return;
  }
  if (code < kSmallestCode[3]) {
    text += static_cast<char>(0xC0 | code >> 6);
  } else {
    if (code < kSmallestCode[4]) {
      text += static_cast<char>(0xE0 | code >> 12);
    } else {
      text += static_cast<char>(0xF0 | code >> 18);
      text += continuation(code >> 12);
    }
    text += continuation(code >> 6);
  }
  text += continuation(code);
}

}  // namespace quarnex::tool
