#include "quarn/session/json_lines.h"

#include <optional>

#include "quarn/console.h"
#include "quarn/utf8.h"
#include "recording/format/text_codes.h"

namespace quarnex::tool {
namespace {

constexpr char32_t kFirstUnescaped = 0xA0;  // control characters of eight bits come before

// The inside of a string of JSON; nothing if `text` is not well-formed UTF-8.
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

using quarnex::toJson;

std::string toJson(const NumberedRange& lines) {
  return JsonObject().add("first", lines.first).add("last", lines.last).add("count", lines.count).text();
}

}  // namespace

JsonObject beginLine(std::string_view type) {
  const std::int64_t now = wallSecond();
  return JsonObject().add("type", type).add("at", now).add("time", isoTime(now));
}

void addText(JsonObject& line, std::string_view text) {
  const std::optional<std::string> characters = escapedUtf8(text);
  if (!characters) line.add("encoding", "bytes");
  line.addJson("text", characters ? '"' + *characters + '"' : toJson(text));
}

std::string lineOf(const LinkEvent& event, const NumberedRange& lines) {
  std::string line = toJson(event);
  line.pop_back();  // the closing brace
  line += ",\"time\":" + toJson(isoTime(event.at));
  if (event.type == EventType::Receipts) line += ",\"lines\":" + toJson(lines);
  return line + '}';
}

}  // namespace quarnex::tool
