#include "recording/output.h"

#include "recording/line_writer.h"

namespace quarnex::recording {
namespace {

std::string written(const LineParts& line) {
  std::string text;
  writeLine(text, line);
  text.pop_back();  // the line end
  return text;
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
  return written({.kind = LineKind::Trace, .number = output.link, .text = output.text});
}

std::string lineOf(const Performed& output) {
  return written({.kind = LineKind::Performed,
                  .operation = output.operation,
                  .socket = output.socket,
                  .number = output.number,
                  .text = output.text});
}

std::string lineOf(const Value& result) {
  return written({.kind = LineKind::Result, .values = {&result, 1}});
}

std::string lineOf(const Failure& failure) {
  return written({.kind = LineKind::Failure, .number = failure.number(), .text = failure.what()});
}

}  // namespace quarnex::recording
