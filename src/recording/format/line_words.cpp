#include "recording/format/line_words.h"

#include <string_view>

#include "engine/records/text_pieces.h"
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

std::string wordsFor(const SocketId& socket) {
  return concat(' ', nameOf(socket.array), ' ', socket.index);
}

std::string wordsForCall(const Line& line) {
  std::string words = concat(line.method->name, '(');
  for (const Value& value : line.values)
    words += concat(&value == line.values.data() ? "" : ", ", wordsFor(value));
  return words + ')';
}

std::string wordsForEvent(const Line& line) {
  std::string words = concat(kEvents[static_cast<std::size_t>(line.event)], " on", wordsFor(line.socket));
  if (line.event == EventKind::Accept)
    append(words, concat(" from ", escaped(line.text), ", handle ", line.handle));
  if (line.number != 0) append(words, concat(", code ", line.number));
  return words;
}

std::string wordsForOperation(const Line& line) {
  const OperationShape& shape = shapeOf(line.operation);
  std::string words = concat("> ", shape.name, shape.onSocket ? wordsFor(line.socket) : "");
  if (shape.argument == OperandKind::Number) words += concat(' ', line.number);
  if (shape.argument == OperandKind::Text) words += concat(' ', inQuotes(line.text));
  return words;
}

std::string wordsForFailure(std::string_view what, const Line& line) {
  return concat(what, " failed: ", line.number, ' ', escaped(line.text));
}

std::string wordsForProperty(const Line& line) {
  const OperationShape& shape = shapeOf(line.operation);
  return concat("< ", shape.name, shape.onSocket ? wordsFor(line.socket) : "", " reads ",
                shape.result == OperandKind::Text ? inQuotes(line.text) : concat(line.number));
}

}  // namespace

std::string wordsFor(const Line& line) {
  switch (line.kind) {
    case LineKind::Call:
      return wordsForCall(line);
    case LineKind::Tick:
      return "tick";
    case LineKind::Event:
      return wordsForEvent(line);
    case LineKind::Trace:
      return brief(line.text, escaped);
    case LineKind::Performed:
      return wordsForOperation(line);
    case LineKind::Result:
      return "returns " + wordsFor(line.values.front());
    case LineKind::Failure:
      return wordsForFailure("the call", line);
    case LineKind::NoOutput:
      return "(no output that an engine could have)";
    case LineKind::Fetched:
      return "< " + inQuotes(line.text);
    case LineKind::FailedOperation:
      return wordsForFailure(concat("< ", nameOf(line.operation)), line);
    case LineKind::FailedRead:
      return wordsForFailure(concat("< reading ", nameOf(line.operation)), line);
    case LineKind::Property:
      return wordsForProperty(line);
    case LineKind::Missing:
      return concat('(', line.text, " bytes could not be recorded here)");
    case LineKind::End:
    case LineKind::Now:
      break;
  }
  return "";
}

}  // namespace quarnex::recording
