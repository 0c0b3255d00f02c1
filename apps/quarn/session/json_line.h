// Builds lines of JSON for quarn listen --json and quarn call --json.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace quarnex::tool {

/// One JSON object with the member "type" first. The whole line is well-formed UTF-8.
class JsonLine {
 public:
  explicit JsonLine(std::string_view type);

  /// Adds a text of any bytes. If it is well-formed UTF-8, the value has the same characters. Otherwise each
  /// byte is one character of the same code, 0 to 255, and the object gets the member "encoding":"bytes".
  JsonLine& text(std::string_view name, std::string_view bytes);
  JsonLine& number(std::string_view name, std::int64_t value);
  JsonLine& flag(std::string_view name, bool value);

  /// The finished object, without a line end.
  std::string finished() const { return line_ + '}'; }

 private:
  void begin(std::string_view name);

  std::string line_;
};

}  // namespace quarnex::tool
