#include "quarn/session/json_line.h"

#include <optional>

#include "quarn/utf8.h"
#include "recording/format/text_codes.h"

namespace quarnex::tool {
namespace {

constexpr char32_t kFirstUnescaped = 0xA0;  // control characters of eight bits come before

// Nothing if `text` is not well-formed UTF-8.
std::optional<std::string> escapedUtf8(std::string_view text) {
  std::string escaped;
  while (!text.empty()) {
    const auto [code, bytes] = firstCharacter(text);
    if (bytes == 0) return std::nullopt;
    const char byte = static_cast<char>(code);
    escaped += code < kFirstUnescaped ? recording::escaped({&byte, 1}) : std::string(text.substr(0, bytes));
    text.remove_prefix(bytes);
  }
  return escaped;
}

}  // namespace

JsonLine::JsonLine(std::string_view type) : line_("{\"type\":" + recording::jsonString(type)) {}

JsonLine& JsonLine::text(std::string_view name, std::string_view bytes) {
  begin(name);
  const std::optional<std::string> characters = escapedUtf8(bytes);
  line_ += '"' + (characters ? *characters : recording::escaped(bytes)) + '"';
  if (!characters) line_ += R"(,"encoding":"bytes")";
  return *this;
}

JsonLine& JsonLine::number(std::string_view name, std::int64_t value) {
  begin(name);
  line_ += std::to_string(value);
  return *this;
}

JsonLine& JsonLine::flag(std::string_view name, bool value) {
  begin(name);
  line_ += value ? "true" : "false";
  return *this;
}

void JsonLine::begin(std::string_view name) {
  line_.append(",\"").append(name).append("\":");
}

}  // namespace quarnex::tool
