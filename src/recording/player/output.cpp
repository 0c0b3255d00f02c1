#include "recording/player/output.h"

#include "recording/format/line_writer.h"

namespace quarnex::recording {

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
  return lineOf(LineParts{.kind = LineKind::Trace, .number = output.link, .text = output.text});
}

std::string lineOf(const Performed& output) {
  return lineOf(LineParts{.kind = LineKind::Performed,
                          .operation = output.operation,
                          .socket = output.socket,
                          .number = output.number,
                          .text = output.text});
}

std::string lineOf(const Value& result) {
  return lineOf(LineParts{.kind = LineKind::Result, .values = {&result, 1}});
}

std::string lineOf(const Failure& failure) {
  return lineOf(LineParts{.kind = LineKind::Failure, .number = failure.number(), .text = failure.what()});
}

}  // namespace quarnex::recording
