// Describes the lines of a recording in words.
#include <string_view>

#include "engine/records/text_pieces.h"
#include "recording/format/line.h"

namespace quarnex::recording {

std::string inWords(const Value& value) {
  if (const auto* number = std::get_if<std::int16_t>(&value)) return concat(*number);
  if (const auto* truth = std::get_if<bool>(&value)) return *truth ? "true" : "false";
  if (const auto* text = std::get_if<std::string>(&value)) return inQuotes(*text);
  return "nothing";
}

std::string inWords(const Operand& operand) {
  if (const auto* number = std::get_if<std::int32_t>(&operand)) return concat(' ', *number);
  if (const auto* text = std::get_if<std::string_view>(&operand)) return concat(' ', inQuotes(*text));
  return "";
}

std::string inWords(Operation operation, SocketId socket) {
  if (!shapeOf(operation).onSocket) return std::string(nameOf(operation));
  return concat(nameOf(operation), ' ', nameOf(socket.array), ' ', socket.index);
}

std::string failureInWords(std::string_view subject, std::int32_t number, std::string_view description) {
  return concat(subject, " failed: ", number, ' ', escaped(description));
}

std::string CallLine::words() const {
  std::string words = concat(method->name, '(');
  for (const Value& parameter : parameters)
    words += concat(&parameter == parameters.data() ? "" : ", ", inWords(parameter));
  return words + ')';
}

std::string EventLine::words() const {
  std::string words =
      concat(kEvents[static_cast<std::size_t>(event)], " on ", nameOf(socket.array), ' ', socket.index);
  if (event == EventKind::Accept) words += concat(" from ", escaped(remoteHost), ", handle ", handle);
  if (code != 0) words += concat(", code ", code);
  return words;
}

}  // namespace quarnex::recording
