// Parses the lines of a recording: checks each value of the JSON and returns the line as its type.
#pragma once

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "recording/format/line.h"

namespace quarnex::recording {

/// A line cannot be read. The text continues "line 7: ".
struct LineError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

class JsonFields;

class LineParser {
 public:
  LineParser();
  ~LineParser();

  /// Returns the `utc_offset` of the first line. Throws `LineError` if it is not the first line of a
  /// recording of a known version.
  std::int32_t parseHeader(std::string_view text);

  /// Parses one line without its line feed. The result refers to the parser and to `text` and is valid until
  /// the next call. Throws `LineError` if `text` is not a line of the format, or if a value of a step or an
  /// input is missing or out of range. With such a value, an output becomes an `InvalidLine`: outputs are
  /// only compared.
  Line parse(std::string_view text);

 private:
  std::unique_ptr<JsonFields> fields_;
  std::vector<Value> values_;
};

}  // namespace quarnex::recording
