#include "recording/output.h"

#include <initializer_list>

#include "recording/text_codes.h"

namespace quarnex::recording {
namespace {

std::string jsonOf(const Value& value) {
  if (const auto* number = std::get_if<std::int16_t>(&value)) return std::to_string(*number);
  if (const auto* truth = std::get_if<bool>(&value)) return *truth ? "true" : "false";
  if (const auto* text = std::get_if<std::string>(&value)) return jsonString(*text);
  return "null";
}

std::string joined(std::initializer_list<std::string_view> pieces) {
  std::string text;
  for (const std::string_view piece : pieces) text += piece;
  return text;
}

std::string onSocket(const SocketId& socket) {
  return joined({",\"socket\":\"", nameOf(socket.array), "\",\"index\":", std::to_string(socket.index)});
}

std::string_view argumentKey(Operation operation) {
  switch (operation) {
    case Operation::Attach:
      return "handle";
    case Operation::CreateLog:
      return "name";
    default:
      return "value";
  }
}

}  // namespace

bool matches(const Line& line, const Traced& output) {
  return line.kind == LineKind::Trace && line.number == output.link && line.text == output.text;
}

bool matches(const Line& line, const Performed& output) {
  return line.kind == LineKind::Performed && line.operation == output.operation &&
         line.socket == output.socket && line.number == output.number && line.text == output.text;
}

bool matches(const Line& line, const Value& result) {
  return line.kind == LineKind::Result && line.values.front() == result;
}

bool matches(const Line& line, const Failure& failure) {
  return line.kind == LineKind::Failure && line.number == failure.number() &&
         line.text == failure.description();
}

std::string lineOf(const Traced& output) {
  return joined({"{\"trace\":", std::to_string(output.link), ",\"text\":", jsonString(output.text), "}"});
}

std::string lineOf(const Performed& output) {
  const OperationShape& shape = shapeOf(output.operation);
  const std::string socket = shape.onSocket ? onSocket(output.socket) : "";
  if (output.operation == Operation::Send)
    return joined({"{\"sent\":", jsonString(output.text), socket, "}"});
  if (shape.argument == ValueKind::None) return joined({"{\"did\":\"", shape.name, "\"", socket, "}"});
  const std::string argument =
      shape.argument == ValueKind::Integer ? std::to_string(output.number) : jsonString(output.text);
  return joined(
      {"{\"did\":\"", shape.name, "\"", socket, ",\"", argumentKey(output.operation), "\":", argument, "}"});
}

std::string lineOf(const Value& result) {
  return joined({"{\"result\":", jsonOf(result), "}"});
}

std::string lineOf(const Failure& failure) {
  return joined({"{\"failure\":", std::to_string(failure.number()),
                 ",\"description\":", jsonString(failure.description()), "}"});
}

}  // namespace quarnex::recording
