// Describes the lines of a recording in words.
#include <string_view>

#include "engine/records/text_pieces.h"
#include "recording/format/line.h"
#include "recording/format/text_codes.h"

namespace quarnex::recording {
namespace {

constexpr std::size_t kTextMax = 500;  // bytes shown of a text

std::string brief(std::string_view bytes, std::string (*written)(std::string_view)) {
  if (bytes.size() <= kTextMax) return written(bytes);
  return concat(written(bytes.substr(0, kTextMax)), "... (", bytes.size(), " bytes)");
}

std::string inQuotes(std::string_view bytes) {
  return brief(bytes, jsonString);
}

std::string wordsFor(const Value& value) {
  if (const auto* number = std::get_if<std::int16_t>(&value)) return concat(*number);
  if (const auto* truth = std::get_if<bool>(&value)) return *truth ? "true" : "false";
  if (const auto* text = std::get_if<std::string>(&value)) return inQuotes(*text);
  return "nothing";
}

std::string wordsFor(const Operand& operand) {
  if (const auto* number = std::get_if<std::int32_t>(&operand)) return concat(' ', *number);
  if (const auto* text = std::get_if<std::string_view>(&operand)) return concat(' ', inQuotes(*text));
  return "";
}

std::string wordsFor(Operation operation, SocketId socket) {
  if (!shapeOf(operation).onSocket) return std::string(nameOf(operation));
  return concat(nameOf(operation), ' ', nameOf(socket.array), ' ', socket.index);
}

std::string wordsForFailure(std::string_view subject, std::int32_t number, std::string_view description) {
  return concat(subject, " failed: ", number, ' ', escaped(description));
}

}  // namespace

// Add("MIRTAN", 5, true, true)
std::string CallLine::words() const {
  std::string words = concat(method->name, '(');
  for (const Value& parameter : parameters)
    words += concat(&parameter == parameters.data() ? "" : ", ", wordsFor(parameter));
  return words + ')';
}

std::string TickLine::words() const {
  return "tick";
}

// Connect on ClientSocket 1, code 10061
std::string EventLine::words() const {
  std::string words =
      concat(kEvents[static_cast<std::size_t>(event)], " on ", nameOf(socket.array), ' ', socket.index);
  if (event == EventKind::Accept) words += concat(" from ", escaped(remoteHost), ", handle ", handle);
  if (code != 0) words += concat(", code ", code);
  return words;
}

std::string TraceLine::words() const {
  return brief(text, escaped);
}

// > setLocalPort ClientSocket 1 20308
std::string OperationLine::words() const {
  return concat("> ", wordsFor(operation, socket), wordsFor(argument));
}

std::string ResultLine::words() const {
  return "returns " + wordsFor(*value);
}

std::string FailureLine::words() const {
  return wordsForFailure("the call", number, description);
}

std::string InvalidLine::words() const {
  return "(no output that an engine could have)";
}

std::string FetchedLine::words() const {
  return "< " + inQuotes(bytes);
}

// < connect failed: 10055 No buffer space available
std::string FailedLine::words() const {
  return wordsForFailure(concat(isRead(operation) ? "< reading " : "< ", nameOf(operation)), number,
                         description);
}

// < state ClientSocket 1 reads 4
std::string PropertyLine::words() const {
  return concat("< ", wordsFor(operation, socket), " reads", wordsFor(value));
}

std::string MissingLine::words() const {
  return concat('(', bytes, " bytes could not be recorded here)");
}

}  // namespace quarnex::recording
