#include "quarn/printable.h"

#include <algorithm>
#include <cstdint>

#include "quarn/streams.h"
#include "quarn/utf8.h"

namespace quarnex::tool {
namespace {

struct CodeRange {
  char32_t first, last;
};

// Characters from U+00A0 on that are invisible, end a line or change the direction of the line.
constexpr CodeRange kUnprintable[] = {{0xAD, 0xAD},     {0x61C, 0x61C},   {0x180E, 0x180E},
                                      {0x200B, 0x200F}, {0x2028, 0x202E}, {0x2060, 0x206F},
                                      {0xFEFF, 0xFEFF}, {0xFFF9, 0xFFFB}, {0xE0000, 0xE0FFF}};

bool isPrintable(char32_t code, bool utf8) {
  if (code < 0x80) return code >= 0x20 && code != 0x7F;
  return utf8 && code >= 0xA0 && std::ranges::none_of(kUnprintable, [code](const CodeRange& range) {
           return code >= range.first && code <= range.last;
         });
}

void appendEscaped(std::string& shown, std::string_view bytes) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  for (const char byte : bytes) {
    const auto code = static_cast<unsigned char>(byte);
    shown += "\\x";
    shown += kDigits[code / 16];
    shown += kDigits[code % 16];
  }
}

}  // namespace

std::string printable(std::string_view text) {
  static const bool utf8 = localeUsesUtf8();
  return printable(text, utf8);
}

std::string printable(std::string_view text, bool utf8) {
  std::string shown;
  while (!text.empty()) {
    const Utf8Character first = firstCharacter(text);
    const std::string_view bytes = text.substr(0, std::max<std::size_t>(first.bytes, 1));
    if (first.bytes > 0 && isPrintable(first.code, utf8)) {
      shown += bytes;
    } else {
      appendEscaped(shown, bytes);
    }
    text.remove_prefix(bytes.size());
  }
  return shown;
}

PrintableStream::int_type PrintableStream::overflow(int_type character) {
  if (traits_type::eq_int_type(character, traits_type::eof())) return traits_type::not_eof(character);
  const char byte = traits_type::to_char_type(character);
  return xsputn(&byte, 1) == 1 ? character : traits_type::eof();
}

std::streamsize PrintableStream::xsputn(const char* text, std::streamsize size) {
  std::string_view rest(text, static_cast<std::size_t>(size));
  while (!rest.empty()) {
    const std::string_view line = rest.substr(0, rest.find('\n'));
    std::string shown = printable(line);
    rest.remove_prefix(line.size());
    if (!rest.empty()) {
      shown += '\n';
      rest.remove_prefix(1);
    }
    const auto length = static_cast<std::streamsize>(shown.size());
    if (inner_->sputn(shown.data(), length) != length) return 0;
  }
  return size;
}

}  // namespace quarnex::tool
