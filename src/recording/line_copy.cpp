#include "recording/line_copy.h"

#include "quarnex/failure.h"
#include "recording/line_fields.h"
#include "recording/line_values.h"
#include "recording/line_writer.h"

namespace quarnex::recording {
namespace {

StepHead headOf(const Line& step) {
  return {step.at, step.utcOffset, step.nested};
}

void writePropertyOf(std::string& out, const Line& line) {
  if (shapeOf(line.property).isText) {
    writeProperty(out, line.property, line.socket, line.text);
  } else {
    writeProperty(out, line.property, line.socket, line.number);
  }
}

template <class Shape>
void writeFailedOf(std::string& out, const Line& line, const Shape& shape) {
  writeFailed(out, shape.name, shape.onSocket, line.socket, Failure(line.number, line.text));
}

void writeLine(std::string& out, const Line& line) {
  switch (line.kind) {
    case LineKind::Call:
      return writeCall(out, headOf(line), *line.method, line.values);
    case LineKind::Tick:
      return writeTick(out, headOf(line));
    case LineKind::Event:
      return writeEvent(out, headOf(line), line.event, line.socket, static_cast<std::int16_t>(line.number),
                        line.handle, line.text);
    case LineKind::Trace:
      return writeTrace(out, static_cast<std::int16_t>(line.number), line.text);
    case LineKind::Performed:
      return writeOperation(out, line.operation, line.socket, line.number, line.text);
    case LineKind::Result:
      return writeResult(out, line.values.front());
    case LineKind::Failure:
      return writeFailure(out, Failure(line.number, line.text));
    case LineKind::End:
      return writeEnd(out);
    case LineKind::NoOutput:
      out.append(line.text) += '\n';
      return;
    case LineKind::Fetched:
      return writeFetched(out, line.socket, line.text);
    case LineKind::FailedOperation:
      return writeFailedOf(out, line, shapeOf(line.operation));
    case LineKind::FailedRead:
      return writeFailedOf(out, line, shapeOf(line.property));
    case LineKind::Property:
      return writePropertyOf(out, line);
    case LineKind::Now:
      return writeNow(out, line.at, line.utcOffset);
    case LineKind::Missing:
      return writeMissing(out, std::stoull(line.text));
  }
}

}  // namespace

std::string lineOf(const Line& line) {
  std::string text;
  writeLine(text, line);
  text.pop_back();
  return text;
}

Line readLine(std::string_view text) {
  LineFields fields;
  fields.parse(text);
  Line line;
  fillLine(line, fields);
  if (line.kind == LineKind::NoOutput) line.text = text;
  return line;
}

}  // namespace quarnex::recording
