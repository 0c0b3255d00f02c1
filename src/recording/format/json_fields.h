// Splits the JSON of one line into the values of the keys that the format knows. Needs a JSON parser, so only
// the parser of lines includes it.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/records/text_pieces.h"
#include "recording/format/line.h"
#include "recording/format/line_parser.h"
#include "recording/format/text_codes.h"

namespace quarnex::recording {

/// A value of a readable line is missing, of another type or out of its range.
struct ValueError : LineError {
  using LineError::LineError;
};

struct JsonValue {
  enum class Type : std::uint8_t { Null, Boolean, Integer, Text, List, Other };
  Type type = Type::Null;
  std::int64_t number = 0;  // Integer; Boolean: 0 or 1
  std::string text;         // UTF-8

  /// Converts the text to its bytes, in place. Throws `LineError` if it has a character above 255.
  std::string& bytes() {
    if (!toBytes(text)) throw LineError("has a character above 255");
    return text;
  }
};

class JsonFields {
 public:
  /// Parses one line without its line feed. Throws `LineError` if it is not a JSON object or is nested too
  /// deep.
  void parse(std::string_view line) {
    present_ = 0;
    params_.clear();
    depth_ = 0;
    problem_.clear();
    if (line.find('\0') != line.npos) throw LineError("contains a zero byte");
    if (!nlohmann::json::sax_parse(line.begin(), line.end(), this))
      throw LineError(problem_.empty() ? "is not a JSON object" : problem_);
  }

  bool has(Key key) const { return (present_ & bit(key)) != 0; }
  /// The keys that are present, as bits by enumerator.
  std::uint32_t present() const { return present_; }
  /// The value as parsed, for members of more than one type.
  JsonValue& field(Key key) { return fields_[static_cast<std::size_t>(key)]; }

  /// Throws `ValueError` if the key is missing or its value is of another type.
  JsonValue& field(Key key, JsonValue::Type type) {
    if (!has(key)) throw ValueError(concat('"', nameOf(key), "\" is missing"));
    if (field(key).type != type) throw ValueError(concat('"', nameOf(key), "\" is of another type"));
    return field(key);
  }
  /// Throws `ValueError` also if the number is out of range.
  template <class Integer>
  Integer integer(Key key, std::int64_t least = std::numeric_limits<Integer>::min(),
                  std::int64_t most = std::numeric_limits<Integer>::max()) {
    const std::int64_t number = field(key, JsonValue::Type::Integer).number;
    if (number < least || number > most) throw ValueError(concat('"', nameOf(key), "\" is out of its range"));
    return static_cast<Integer>(number);
  }
  std::string_view utf8(Key key) { return field(key, JsonValue::Type::Text).text; }
  /// The elements of "params", at most one more than any method has.
  std::vector<JsonValue>& params() {
    if (has("params"_key)) field("params"_key, JsonValue::Type::List);
    return params_;
  }

  // Events of the JSON parser; returning false ends the parse.
  bool null() { return put(JsonValue::Type::Null); }
  bool boolean(bool value) { return put(JsonValue::Type::Boolean, value ? 1 : 0); }
  bool number_integer(std::int64_t value) { return put(JsonValue::Type::Integer, value); }
  bool number_unsigned(std::uint64_t value) {
    if (value > std::numeric_limits<std::int64_t>::max()) return put(JsonValue::Type::Other);
    return put(JsonValue::Type::Integer, static_cast<std::int64_t>(value));
  }
  bool number_float(double, const std::string&) { return put(JsonValue::Type::Other); }
  bool string(std::string& value) {
    if (JsonValue* place = placeOf(JsonValue::Type::Text)) place->text.swap(value);
    return depth_ > 0;
  }
  bool binary(std::vector<std::uint8_t>&) { return false; }  // JSON text has no binary values
  bool start_object(std::size_t) {
    if (depth_ > 0) put(JsonValue::Type::Other);
    return descend();
  }
  bool start_array(std::size_t) { return put(JsonValue::Type::List) && descend(); }
  bool end_object() { return --depth_ >= 0; }
  bool end_array() { return --depth_ >= 0; }
  bool key(const std::string& name) {
    if (depth_ != 1) return true;
    const auto found = std::ranges::find(kKeys, name);
    key_.reset();
    if (found != kKeys.end()) key_ = static_cast<Key>(found - kKeys.begin());
    return true;
  }
  template <class Exception>
  bool parse_error(std::size_t position, const std::string&, const Exception&) {
    problem_ = concat("is not JSON (character ", position, ')');
    return false;
  }

 private:
  static constexpr int kDepthMax = 8;           // a recording needs 2; unknown keys may hold more
  static constexpr std::size_t kParamsMax = 5;  // one more than any method has
  static constexpr std::uint32_t bit(Key key) { return 1U << static_cast<unsigned>(key); }
  static_assert(kKeys.size() <= 32);

  // False for a value outside of the object.
  bool put(JsonValue::Type type, std::int64_t number = 0) {
    if (JsonValue* place = placeOf(type)) place->number = number;
    return depth_ > 0;
  }
  // The place for the next value, with its type; nullptr if its key is unknown.
  JsonValue* placeOf(JsonValue::Type type) {
    JsonValue* place = nullptr;
    if (depth_ == 1 && key_) {
      present_ |= bit(*key_);
      place = &field(*key_);
    } else if (depth_ == 2 && key_ == "params"_key && field("params"_key).type == JsonValue::Type::List &&
               params_.size() < kParamsMax) {
      place = &params_.emplace_back();
    }
    if (place != nullptr) place->type = type;
    return place;
  }
  bool descend() {
    if (++depth_ <= kDepthMax) return true;
    problem_ = concat("is nested more than ", kDepthMax, " deep");
    return false;
  }

  std::uint32_t present_ = 0;
  std::array<JsonValue, kKeys.size()> fields_;
  std::vector<JsonValue> params_;
  int depth_ = 0;           // of the next value
  std::optional<Key> key_;  // of the member in progress, if it is known
  std::string problem_;
};

}  // namespace quarnex::recording
