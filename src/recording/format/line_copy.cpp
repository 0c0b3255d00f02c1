#include "recording/format/line_copy.h"

#include "recording/format/json_fields.h"
#include "recording/format/line_parser.h"
#include "recording/format/line_writer.h"

namespace quarnex::recording {

std::string lineOf(const Line& line) {
  return lineOf(partsOf(line));
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
