#include "quarn/commands/json_scanner.h"

#include <charconv>
#include <cstddef>
#include <cstdint>

#include "quarn/utf8.h"

namespace quarnex::tool {
namespace {

constexpr std::size_t kHexDigits = 4;

bool isSpace(char character) {
  return character == ' ' || character == '\t' || character == '\r' || character == '\n';
}
bool isDigit(char character) {
  return character >= '0' && character <= '9';
}
bool isHighSurrogate(char32_t code) {
  return code >= 0xD800 && code <= 0xDBFF;
}
bool isLowSurrogate(char32_t code) {
  return code >= 0xDC00 && code <= 0xDFFF;
}

// Code of the UTF-16 unit that `text` begins with ("\u00E8"), if it does.
std::optional<char32_t> unitAt(std::string_view text) {
  if (text.size() < 2 + kHexDigits || !text.starts_with("\\u")) return std::nullopt;
  std::uint32_t code = 0;
  const char* const end = text.data() + 2 + kHexDigits;
  const auto [rest, error] = std::from_chars(text.data() + 2, end, code, 16);
  if (error != std::errc() || rest != end) return std::nullopt;
  return code;
}

// Character of an escape sequence and the number of its bytes; 0 bytes if the sequence is not valid.
Utf8Character unitsAt(std::string_view text) {
  const std::optional<char32_t> first = unitAt(text);
  if (!first || isLowSurrogate(*first)) return {};
  constexpr std::size_t kUnitBytes = 2 + kHexDigits;
  if (!isHighSurrogate(*first)) return {*first, kUnitBytes};
  const std::optional<char32_t> second = unitAt(text.substr(kUnitBytes));
  if (!second || !isLowSurrogate(*second)) return {};
  return {0x10000 + ((*first - 0xD800) << 10) + (*second - 0xDC00), 2 * kUnitBytes};
}

Utf8Character escapeAt(std::string_view text) {
  constexpr std::string_view kLetters = "\"\\/bfnrt";
  constexpr std::string_view kMeanings = "\"\\/\b\f\n\r\t";
  const std::size_t letter = text.size() > 1 ? kLetters.find(text[1]) : kLetters.npos;
  if (letter != kLetters.npos) return {static_cast<unsigned char>(kMeanings[letter]), 2};
  return unitsAt(text);
}

bool isPlain(char character) {
  const auto code = static_cast<unsigned char>(character);
  return code >= 0x20 && code < 0x80 && character != '"' && character != '\\';
}

// Number of bytes at the beginning of a string's rest that stand for themselves. Most texts have no others.
std::size_t plainBytes(std::string_view text) {
  std::size_t count = 0;
  while (count < text.size() && isPlain(text[count])) ++count;
  return count;
}

// The character at the beginning of a string's rest, which is not empty.
Utf8Character characterAt(std::string_view text) {
  if (text.front() == '\\') return escapeAt(text);
  if (static_cast<unsigned char>(text.front()) < 0x20) return {};
  return firstCharacter(text);
}

class Scanner {
 public:
  Scanner(std::string_view text, const JsonChild& child) : rest_(text), child_(child) {}

  bool run() {
    while (true) {
      const Step step = value();
      if (step == Step::Failed) return false;
      if (step == Step::Inside) continue;
      if (!closeCompleted()) return false;
      if (open_.empty()) return rest_.empty();
      if (!take(',') || !name()) return false;
    }
  }

 private:
  enum class Step : std::uint8_t { Failed, Inside, Complete };

  void skipSpace() {
    while (!rest_.empty() && isSpace(rest_.front())) rest_.remove_prefix(1);
  }
  bool take(char wanted) {
    if (rest_.empty() || rest_.front() != wanted) return false;
    rest_.remove_prefix(1);
    return true;
  }

  // Moves over a scalar, or into an array or object.
  Step value() {
    skipSpace();
    if (open_.size() == 1) start_ = rest_.data();
    if (take('[')) return enter(']');
    if (take('{')) return enter('}');
    return scalar() ? Step::Complete : Step::Failed;
  }

  Step enter(char closer) {
    skipSpace();
    if (take(closer)) return Step::Complete;
    open_ += closer;
    return name() ? Step::Inside : Step::Failed;
  }

  // Moves over the name of the next member; an element of an array has none.
  bool name() {
    if (open_.back() == ']') return true;
    skipSpace();
    const char* const start = rest_.data();
    if (!string()) return false;
    if (open_.size() == 1) name_ = {start, rest_.data()};
    skipSpace();
    return take(':');
  }

  // A value is complete; so are the arrays and objects that end behind it.
  bool closeCompleted() {
    do {
      if (open_.size() == 1) child_(name_, {start_, rest_.data()});
      skipSpace();
    } while (closeInnermost());
    return open_.empty() || (!rest_.empty() && rest_.front() == ',');
  }
  bool closeInnermost() {
    if (open_.empty() || !take(open_.back())) return false;
    open_.pop_back();
    return true;
  }

  bool scalar() {
    if (rest_.empty()) return false;
    if (rest_.front() == '"') return string();
    return rest_.front() == '-' || isDigit(rest_.front()) ? number() : word();
  }

  bool string() {
    if (rest_.empty() || rest_.front() != '"') return false;
    std::string_view rest = rest_.substr(1);
    while (true) {
      rest.remove_prefix(plainBytes(rest));
      if (rest.empty() || rest.front() == '"') break;
      const Utf8Character character = characterAt(rest);
      if (character.bytes == 0) return false;
      rest.remove_prefix(character.bytes);
    }
    if (rest.empty()) return false;
    rest_ = rest.substr(1);
    return true;
  }

  bool digits() {
    if (rest_.empty() || !isDigit(rest_.front())) return false;
    while (!rest_.empty() && isDigit(rest_.front())) rest_.remove_prefix(1);
    return true;
  }
  bool number() {
    take('-');
    if (!take('0') && !digits()) return false;
    if (take('.') && !digits()) return false;
    if (!take('e') && !take('E')) return true;
    if (!take('+')) take('-');
    return digits();
  }
  bool word() {
    for (const std::string_view word : {"true", "false", "null"}) {
      if (!rest_.starts_with(word)) continue;
      rest_.remove_prefix(word.size());
      return true;
    }
    return false;
  }

  std::string_view rest_;
  const JsonChild& child_;
  std::string open_;             // the characters that close the arrays and objects around `rest_`
  std::string_view name_;        // of the member that is under way in the outermost object
  const char* start_ = nullptr;  // of the value that is under way in the outermost array or object
};

// Converts a valid JSON string; `append` appends the code of a character that does not stand for itself.
template <class Append>
std::string converted(std::string_view string, Append&& append) {
  std::string text;
  text.reserve(string.size());
  std::string_view rest = string.substr(1, string.size() - 2);
  while (!rest.empty()) {
    const std::size_t plain = plainBytes(rest);
    text += rest.substr(0, plain);
    rest.remove_prefix(plain);
    if (rest.empty()) break;
    const Utf8Character character = characterAt(rest);
    append(text, character.code);
    rest.remove_prefix(character.bytes);
  }
  return text;
}

}  // namespace

bool scanJson(std::string_view text, const JsonChild& child) {
  return Scanner(text, child).run();
}

std::string utf8OfString(std::string_view string) {
  return converted(string, appendUtf8);
}

std::optional<std::string> bytesOfString(std::string_view string) {
  bool whole = true;
  std::string bytes = converted(string, [&whole](std::string& text, char32_t code) {
    whole = whole && code <= 0xFF;
    text += static_cast<char>(code);
  });
  if (!whole) return std::nullopt;
  return bytes;
}

}  // namespace quarnex::tool
