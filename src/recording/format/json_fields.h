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
struct Damage : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// A value of a readable line is missing, of another type or out of its range.
struct WrongValue : Damage {
  using Damage::Damage;
};

struct Field {
  enum class Type : std::uint8_t { Null, Boolean, Integer, Text, List, Other };
  Type type = Type::Null;
  std::int64_t number = 0;  // Integer; Boolean: 0 or 1
  std::string text;         // UTF-8
};

class JsonFields {
 public:
  /// Parses one line without its line feed. Throws `Damage` if it is no JSON object or is nested too deep.
  void parse(std::string_view line);

  bool has(Key key) const { return (present_ & bit(key)) != 0; }
  /// The keys that are present, as bits by enumerator.
  std::uint32_t present() const { return present_; }

  /// Each throws `WrongValue` if the key is missing or its value is of another type or out of range.
  template <class Integer>
  Integer integer(Key key) const {
    return static_cast<Integer>(
        integer(key, std::numeric_limits<Integer>::min(), std::numeric_limits<Integer>::max()));
  }
  std::int64_t integer(Key key, std::int64_t least, std::int64_t most) const;
  bool boolean(Key key) const;
  std::string_view utf8(Key key) const;
  /// Converts the text to its bytes, valid until the next parse. Call it once for a key. Throws `Damage` if
  /// the text has a character above 255.
  std::string_view bytes(Key key);

  /// The value as parsed, for members of more than one type.
  Field& field(Key key) { return fields_[static_cast<std::size_t>(key)]; }
  /// The elements of "params", at most one more than any method has.
  std::vector<Field>& params();

 private:
  class Builder;

  static constexpr std::uint32_t bit(Key key) { return 1U << static_cast<unsigned>(key); }
  const Field& typed(Key key, Field::Type type) const;

  static_assert(kKeys <= 32);
  std::uint32_t present_ = 0;
  std::array<Field, kKeys> fields_;
  std::vector<Field> params_;
};

/// Converts a text to its bytes, in place. Throws `Damage` if it has a character above 255.
std::string& toBytes(Field& field);

}  // namespace quarnex::recording
