#include "quarn/session/json_line.h"

#include <optional>

#include "quarn/console.h"
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

void addReason(JsonLine& line, const LinkFailure& failure) {
  line.text("reason", nameOf(failure.kind)).number("error", failure.number);
  line.text("phase", nameOf(failure.phase)).text("words", inWords(failure));
}

void addReceipt(JsonLine& line, const Receipt& receipt) {
  line.number("from", static_cast<std::int64_t>(receipt.from));
  line.number("to", static_cast<std::int64_t>(receipt.to));
  line.text("outcome", nameOf(receipt.outcome)).text("cause", nameOf(receipt.cause));
  line.number("frames", receipt.frames).number("connection", receipt.connection);
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

JsonLine& JsonLine::numbers(std::string_view name,
                            std::initializer_list<std::pair<const char*, std::uint64_t>> values) {
  begin(name);
  std::string members;
  for (const auto& [member, value] : values)
    members += (members.empty() ? "\"" : ",\"") + std::string(member) + "\":" + std::to_string(value);
  line_ += '{' + members + '}';
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

JsonLine jsonOf(const LinkEvent& event) {
  JsonLine line(nameOf(event.type));
  line.text("time", isoTime(event.at)).number("milliseconds", event.milliseconds);
  if (!event.endpoint.empty()) line.text("endpoint", event.endpoint);
  if (event.reason) addReason(line, *event.reason);
  if (event.type == EventType::Receipts) addReceipt(line, event.receipt);
  if (event.type == EventType::ReceivedDropped) line.text("cause", nameOf(event.receipt.cause));
  if (event.type == EventType::Disconnected) line.flag("staysQueued", event.staysQueued);
  if (event.type != EventType::Receipts) line.number("count", event.count);
  const LinkCounts& counts = event.counts;
  return line.numbers("counts", {{"accepted", counts.accepted},
                                 {"acknowledged", counts.acknowledged},
                                 {"dropped", counts.dropped},
                                 {"unknown", counts.unknown},
                                 {"textsReceived", counts.textsReceived},
                                 {"receivedDropped", counts.receivedDropped},
                                 {"reconnections", counts.reconnections}});
}

}  // namespace quarnex::tool
