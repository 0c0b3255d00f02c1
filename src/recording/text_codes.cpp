#include "recording/text_codes.h"

#include <algorithm>

namespace quarnex::recording {
namespace {

constexpr unsigned char kFirstLead = 0xC2;  // leads the codes 0x80 to 0xBF
constexpr unsigned char kLastLead = 0xC3;   // leads the codes 0xC0 to 0xFF

bool isAscii(char character) {
  return static_cast<unsigned char>(character) < 0x80;
}

}  // namespace

bool toBytes(std::string& text) {
  auto from = std::ranges::find_if_not(text, isAscii);
  auto to = from;
  while (from != text.end()) {
    const auto lead = static_cast<unsigned char>(*from++);
    if (lead < 0x80) {
      *to++ = static_cast<char>(lead);
    } else if (lead >= kFirstLead && lead <= kLastLead) {
      *to++ = static_cast<char>((lead - kFirstLead) * 0x40 + static_cast<unsigned char>(*from++));
    } else {
      return false;
    }
  }
  text.erase(to, text.end());
  return true;
}

std::string quoted(std::string_view bytes) {
  constexpr char digits[] = "0123456789abcdef";
  std::string text = "\"";
  for (const char byte : bytes) {
    const auto code = static_cast<unsigned char>(byte);
    if (code == '"' || code == '\\') {
      text += {'\\', byte};
    } else if (code >= 0x20 && code <= 0x7E) {
      text += byte;
    } else {
      text += {'\\', 'u', '0', '0', digits[code >> 4], digits[code & 0xF]};
    }
  }
  return text += '"';
}

}  // namespace quarnex::recording
