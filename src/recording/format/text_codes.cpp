#include "recording/format/text_codes.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

namespace quarnex::recording {
namespace {

// UTF-8 writes the codes 0x80 to 0xFF as two bytes: a lead, then a continuation (binary 10 and six bits).
constexpr unsigned char kFirstLead = 0xC2;
constexpr unsigned char kLastLead = 0xC3;

bool isAscii(char character) {
  return static_cast<unsigned char>(character) < 0x80;
}
bool isControl(unsigned char code) {
  return code < 0x20 || (code >= 0x7F && code < 0xA0);
}

// Codes that JSON writes unescaped as one byte.
constexpr std::array<bool, 256> kPlain = [] {
  std::array<bool, 256> plain{};
  for (std::size_t code = 0x20; code < 0x7F; ++code) plain[code] = code != '"' && code != '\\';
  return plain;
}();

bool isPlain(char byte) {
  return kPlain[static_cast<unsigned char>(byte)];
}

constexpr std::uint64_t inEachByte(unsigned char value) {
  return value * std::uint64_t{0x0101010101010101};
}

// Sets the top bit of some byte if one of the eight bytes is 0, of none otherwise.
constexpr std::uint64_t zeroBytes(std::uint64_t eight) {
  return (eight - inEachByte(1)) & ~eight;
}

// True only if all eight bytes are plain. May be false for eight plain bytes.
bool arePlain(const char* bytes) {
  std::uint64_t eight = 0;
  std::memcpy(&eight, bytes, sizeof eight);
  const std::uint64_t low = (eight - inEachByte(0x20)) & ~eight;
  const std::uint64_t high = eight | (eight + inEachByte(1));
  const std::uint64_t signs = zeroBytes(eight ^ inEachByte('"')) | zeroBytes(eight ^ inEachByte('\\'));
  return ((low | high | signs) & inEachByte(0x80)) == 0;
}

char* putControl(char* to, unsigned char code) {
  constexpr char digits[] = "0123456789abcdef";
  const char written[] = {'\\', 'u', '0', '0', digits[code >> 4], digits[code & 0xF]};
  std::memcpy(to, written, sizeof written);
  return to + sizeof written;
}

char* putPair(char* to, unsigned char first, unsigned char second) {
  *to++ = static_cast<char>(first);
  *to++ = static_cast<char>(second);
  return to;
}

char* putEscaped(char* to, char byte) {
  if (isPlain(byte)) {
    *to = byte;
    return to + 1;
  }
  const auto code = static_cast<unsigned char>(byte);
  if (code == '"' || code == '\\') return putPair(to, '\\', code);
  if (isControl(code)) return putControl(to, code);
  return putPair(to, static_cast<unsigned char>(0xC0 | code >> 6),
                 static_cast<unsigned char>(0x80 | (code & 0x3F)));
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

// Most bytes are plain, so they are copied eight at a time.
char* escapeTo(char* to, std::string_view bytes) {
  const char* from = bytes.data();
  const char* const end = from + bytes.size();
  while (from != end) {
    for (; end - from >= 8 && arePlain(from); from += 8, to += 8) std::memcpy(to, from, 8);
    if (from != end) to = putEscaped(to, *from++);
  }
  return to;
}

std::string escaped(std::string_view bytes) {
  std::string text(kEscapedMax * bytes.size(), '\0');
  text.resize(static_cast<std::size_t>(escapeTo(text.data(), bytes) - text.data()));
  return text;
}

std::string jsonString(std::string_view bytes) {
  return '"' + escaped(bytes) + '"';
}

std::string terminalSafe(std::string_view line) {
  std::string text;
  for (std::size_t at = 0; at < line.size(); ++at) {
    const auto byte = static_cast<unsigned char>(line[at]);
    const bool pair = byte == kFirstLead && at + 1 < line.size();
    const auto code = pair ? static_cast<unsigned char>(line[at + 1]) : byte;
    if (isControl(code) && (pair || byte < 0x80)) {
      char control[kEscapedMax];
      text.append(control, putControl(control, code));
      at += pair ? 1 : 0;
    } else {
      text += line[at];
    }
  }
  return text;
}

}  // namespace quarnex::recording
