#include "recording/output.h"

#include "recording/line_writer.h"

namespace quarnex::recording {
namespace {

template <class Write>
std::string written(const Write& write) {
  std::string line;
  write(line);
  line.pop_back();  // the line end
  return line;
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
  return written([&](std::string& line) { writeTrace(line, output.link, output.text); });
}

std::string lineOf(const Performed& output) {
  return written([&](std::string& line) {
    writeOperation(line, output.operation, output.socket, output.number, output.text);
  });
}

std::string lineOf(const Value& result) {
  return written([&](std::string& line) { writeResult(line, result); });
}

std::string lineOf(const Failure& failure) {
  return written([&](std::string& line) { writeFailure(line, failure); });
}

}  // namespace quarnex::recording
