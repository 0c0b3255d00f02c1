// Splits the JSON of one line into the values of the keys that the format knows.
#pragma once

#include <array>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "recording/format/keys.h"

namespace quarnex::recording {

/// A line cannot be read. The text continues "line 7: ".
struct LineError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// A value of a readable line is missing, of another type or out of its range.
struct ValueError : LineError {
  using LineError::LineError;
};

struct JsonValue {
  enum class Type : std::uint8_t { Null, Boolean, Integer, Text, List, Other };
  Type type = Type::Null;
  std::int64_t number = 0;  // Integer; Boolean: 0 or 1
  std::string text;         // UTF-8
};

class JsonFields {
 public:
  /// Parses one line without its line feed. Throws `LineError` if it is not a JSON object or is nested too
  /// deep.
  void parse(std::string_view line);

  bool has(Key key) const { return (present_ & bit(key)) != 0; }
  /// The keys that are present, as bits by enumerator.
  std::uint32_t present() const { return present_; }

  /// Each throws `ValueError` if the key is missing or its value is of another type or out of range.
  template <class Integer>
  Integer integer(Key key) const {
    return static_cast<Integer>(
        integer(key, std::numeric_limits<Integer>::min(), std::numeric_limits<Integer>::max()));
  }
  std::int64_t integer(Key key, std::int64_t least, std::int64_t most) const;
  bool boolean(Key key) const;
  std::string_view utf8(Key key) const;
  /// Converts the text to its bytes, valid until the next parse. Call it once for a key. Throws `LineError`
  /// if the text has a character above 255.
  std::string_view bytes(Key key);

  /// The value as parsed, for members of more than one type.
  JsonValue& field(Key key) { return fields_[static_cast<std::size_t>(key)]; }
  /// The elements of "params", at most one more than any method has.
  std::vector<JsonValue>& params();

 private:
  class Builder;

  static constexpr std::uint32_t bit(Key key) { return 1U << static_cast<unsigned>(key); }
  const JsonValue& typed(Key key, JsonValue::Type type) const;

  static_assert(kKeys <= 32);
  std::uint32_t present_ = 0;
  std::array<JsonValue, kKeys> fields_;
  std::vector<JsonValue> params_;
};

/// Converts a text to its bytes, in place. Throws `LineError` if it has a character above 255.
std::string& toBytes(JsonValue& field);

}  // namespace quarnex::recording
