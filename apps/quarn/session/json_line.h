// Builds lines of JSON for quarn listen --json and quarn call --json.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

#include "quarnex/link_event.h"

namespace quarnex::tool {

/// One JSON object with the member "type" first. The whole line is well-formed UTF-8.
class JsonLine {
 public:
  explicit JsonLine(std::string_view type);

  /// Adds a text of any bytes. If it is well-formed UTF-8, the value has the same characters. Otherwise each
  /// byte is one character of the same code, 0 to 255, and the object gets the member "encoding":"bytes".
  JsonLine& text(std::string_view name, std::string_view bytes);
  JsonLine& number(std::string_view name, std::int64_t value);
  /// Adds an object of numbers.
  JsonLine& numbers(std::string_view name,
                    std::initializer_list<std::pair<const char*, std::uint64_t>> values);
  JsonLine& flag(std::string_view name, bool value);

  /// The finished object, without a line end.
  std::string finished() const { return line_ + '}'; }

 private:
  void begin(std::string_view name);

  std::string line_;
};

/// The members of an event that have a meaning for its type.
JsonLine jsonOf(const LinkEvent& event);

}  // namespace quarnex::tool
