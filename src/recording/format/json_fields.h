// The JSON of one line, taken apart: the values of the keys that the format names, not yet judged.
#pragma once

#include <array>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace quarnex::recording {

/// What is wrong with a line, in words that continue "line 7: ".
struct Damage : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// The line can be read, but a value is missing, of another type or out of its range.
struct WrongValue : Damage {
  using Damage::Damage;
};

/// The first 13 each make a line what it is; a line has exactly one of them.
enum class Key : std::uint8_t {
  Call,
  Tick,
  Event,
  Trace,
  Did,
  Sent,
  Result,
  Failure,
  End,
  Fetched,
  Failed,
  Property,
  Now,
  At,
  Params,
  Nested,
  UtcOffset,
  Socket,
  Index,
  Code,
  Handle,
  RemoteHost,
  Text,
  Value,
  Name,
  Number,
  Description,
  Quarnex,
  Version,
  Missing
};

constexpr unsigned kKeys = 30;
constexpr std::uint32_t kKindKeys = (1U << 13) - 1;

struct Field {
  enum class Type : std::uint8_t { Null, Boolean, Integer, Text, List, Other };
  Type type = Type::Null;
  std::int64_t number = 0;  // Integer; Boolean: 0 or 1
  std::string text;         // UTF-8
};

class LineFields {
 public:
  /// Reads one line without its line end. Damage if it is no JSON object or nested deeper than a recording
  /// ever is.
  void parse(std::string_view line);

  bool has(Key key) const { return (present_ & bit(key)) != 0; }
  /// Which of the keys that make a line are there, as bits.
  std::uint32_t kinds() const { return present_ & kKindKeys; }

  /// WrongValue if the key is missing or its value is of another type or range.
  template <class Integer>
  Integer integer(Key key) const {
    return static_cast<Integer>(
        integer(key, std::numeric_limits<Integer>::min(), std::numeric_limits<Integer>::max()));
  }
  std::int64_t integer(Key key, std::int64_t least, std::int64_t most) const;
  bool boolean(Key key) const;
  std::string_view word(Key key) const;
  /// The text's bytes, moved out. Damage if it has a character above 255.
  std::string bytes(Key key);

  /// As found, for values of more than one type.
  Field& field(Key key);
  /// The elements of "params"; of more than a method could have, only some are kept.
  std::vector<Field>& params();

 private:
  class Builder;

  static constexpr std::uint32_t bit(Key key) { return 1U << static_cast<unsigned>(key); }
  const Field& typed(Key key, Field::Type type) const;

  std::uint32_t present_ = 0;
  std::array<Field, kKeys> fields_;
  std::vector<Field> params_;
};

/// The bytes of a text, moved out. Damage if it has a character above 255.
std::string bytesOf(Field& field);

}  // namespace quarnex::recording
