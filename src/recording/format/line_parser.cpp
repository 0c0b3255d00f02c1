#include "recording/format/line_parser.h"

#include <algorithm>
#include <array>
#include <bit>
#include <concepts>
#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "engine/records/text_pieces.h"
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

/// Splits the JSON of one line into the values of the keys that the format knows.
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
  std::uint64_t present() const { return present_; }
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
    const bool fits = std::in_range<std::int64_t>(value);
    return fits ? number_integer(static_cast<std::int64_t>(value)) : put(JsonValue::Type::Other);
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
  static constexpr std::uint64_t bit(Key key) { return std::uint64_t{1} << static_cast<unsigned>(key); }
  static_assert(kKeys.size() <= 64);

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

  std::uint64_t present_ = 0;
  std::array<JsonValue, kKeys.size()> fields_;
  std::vector<JsonValue> params_;
  int depth_ = 0;           // of the next value
  std::optional<Key> key_;  // of the member in progress, if it is known
  std::string problem_;
};

namespace {

constexpr std::int64_t kFirstSecond = -62135596800;  // 0001-01-01
constexpr std::int64_t kLastSecond = 253402300799;   // 9999-12-31
constexpr std::int64_t kOffsetMax = 86399;

std::int32_t offsetOf(JsonFields& fields) {
  return fields.integer<std::int32_t>("utc_offset"_key, -kOffsetMax, kOffsetMax);
}

// Position of `word` in a table of names, as the enumerator of that value.
template <class Enum, class Table, class Projection = std::identity>
Enum oneOf(const Table& table, std::string_view word, Projection projection = {}) {
  const auto found = std::ranges::find(table, word, projection);
  if (found == table.end()) throw ValueError(concat('"', word, "\" is unknown"));
  return static_cast<Enum>(found - table.begin());
}

Value valueOf(JsonValue& field) {
  switch (field.type) {
    case JsonValue::Type::Null:
      return {};
    case JsonValue::Type::Boolean:
      return field.number != 0;
    case JsonValue::Type::Integer:
      if (!std::in_range<std::int16_t>(field.number)) throw ValueError("has an integer of more than 16 bits");
      return static_cast<std::int16_t>(field.number);
    case JsonValue::Type::Text:
      return std::move(field.bytes());
    default:
      throw ValueError("has a value of an unknown type");
  }
}

// Operations up to `CloseLog` have lines of their own. The reads behind them, up to `Period`, are properties.
// The others have no lines.
bool mayBeValueOf(Key key, Operation operation) {
  const bool hasOwnLine = operation <= Operation::CloseLog;
  const bool isProperty = operation >= Operation::State && operation <= Operation::Period;
  if (key == "did"_key) return hasOwnLine && operation != Operation::Send;
  return isProperty || (hasOwnLine && key != "property"_key);
}

/// Takes the members of one line from its JSON.
struct MemberParser {
  JsonFields& fields;
  std::vector<Value>& values;

  template <std::integral Integer>
  void operator()(Key key, Integer& number) {
    number = fields.integer<Integer>(key);
  }
  void operator()(Key key, bool& flag) { flag = fields.has(key) && boolean(key); }
  void operator()(Key key, True) {
    if (!boolean(key)) throw ValueError("has false where only true is valid");
  }
  void operator()(Key key, std::string_view& text) { text = bytes(key); }
  void operator()(Key key, Instant& instant) {
    instant.second = fields.integer<std::int64_t>(key, kFirstSecond, kLastSecond);
  }
  void operator()(Key key, std::optional<std::int32_t>& offset) {
    if (fields.has(key)) offset = offsetOf(fields);
  }
  void operator()(Key key, std::optional<std::int64_t>& count) {
    if (fields.has(key)) count = fields.integer<std::int64_t>(key, 0);
  }
  void operator()(Key key, EventKind& event) { event = oneOf<EventKind>(kEvents, fields.utf8(key)); }
  void operator()(Key key, Operation& operation) {
    operation = oneOf<Operation>(kOperations, fields.utf8(key), &OperationShape::name);
    if (!mayBeValueOf(key, operation)) throw ValueError(concat('"', nameOf(operation), "\" is unknown"));
  }
  void operator()(SocketId& socket) {
    constexpr std::array arrays = {SocketArray::ClientSocket, SocketArray::ServerSocket,
                                   SocketArray::SrvAccept};
    socket.array =
        oneOf<SocketArray>(arrays, fields.utf8("socket"_key), [](SocketArray one) { return nameOf(one); });
    socket.index = fields.integer<std::int16_t>("index"_key);
  }
  void operator()(Key key, Operand& operand, OperandKind kind) {
    if (kind == OperandKind::Number) operand = fields.integer<std::int32_t>(key);
    if (kind == OperandKind::Text) operand = bytes(key);
  }
  void operator()(Key key, const Method*& method) {
    method = findMethod(fields.utf8(key));
    if (method == nullptr) throw LineError("calls a method that does not exist");
  }
  void operator()(Key, std::span<const Value>& parameters) {
    for (JsonValue& parameter : fields.params()) values.push_back(valueOf(parameter));
    parameters = values;
  }
  void operator()(Key key, const Value*& result) {
    result = &values.emplace_back(valueOf(fields.field(key)));
  }

  bool boolean(Key key) { return fields.field(key, JsonValue::Type::Boolean).number != 0; }
  std::string_view bytes(Key key) { return fields.field(key, JsonValue::Type::Text).bytes(); }
};

// Rules that concern more than one member.
void check(const auto&) {}
void check(const CallLine& line) {
  if (line.start.nested) throw LineError("is a host call, which cannot be nested");
  if (!parametersFit(*line.method, line.parameters))
    throw LineError("has parameters that do not fit the method");
}
void check(const FailedLine& line) {
  if (line.operation == Operation::CloseLog) throw LineError("lets \"closeLog\" fail, which never fails");
}
void check(const PropertyLine& line) {
  if (line.operation == Operation::Period && !std::in_range<std::int16_t>(std::get<std::int32_t>(line.value)))
    throw ValueError("\"value\" is out of its range");
}

using ParseKind = Line (*)(Key, std::string_view, JsonFields&, std::vector<Value>&);

template <class OneLine>
Line parseAs(Key key, std::string_view text, JsonFields& fields, std::vector<Value>& values) {
  OneLine line;
  if constexpr (std::same_as<OneLine, OperationLine>) {
    if (key == "sent"_key) line.operation = Operation::Send;
  }
  try {
    MemberParser parser{fields, values};
    line.members(parser, line);
    check(line);
    return line;
  } catch (const ValueError&) {
    if (!std::equality_comparable<OneLine>) throw;
    return InvalidLine{text};
  }
}

// By key that determines a kind.
constexpr auto kKinds = []<class... Lines>(std::type_identity<std::variant<Lines...>>) {
  std::array<ParseKind, kKeys.size()> kinds{};
  ((kinds[static_cast<std::size_t>(Lines::kKey)] = &parseAs<Lines>), ...);
  kinds[static_cast<std::size_t>("sent"_key)] = &parseAs<OperationLine>;
  return kinds;
}(std::type_identity<Line>{});

// "missing" and "limit" count only without any other.
constexpr std::uint64_t kKindBits = (std::uint64_t{1} << static_cast<unsigned>("missing"_key)) - 1;

Key kindKeyOf(const JsonFields& fields) {
  const std::uint64_t kinds = fields.present() & kKindBits;
  if (kinds == 0 && fields.has("missing"_key)) return "missing"_key;
  if (kinds == 0 && fields.has("limit"_key)) return "limit"_key;
  if (kinds == 0) throw LineError("is not a line of a recording");
  if (!std::has_single_bit(kinds)) throw LineError("combines two lines of a recording");
  return static_cast<Key>(std::countr_zero(kinds));
}

}  // namespace

LineParser::LineParser() : fields_(std::make_unique<JsonFields>()) {}
LineParser::~LineParser() = default;

std::int32_t LineParser::parseHeader(std::string_view text) {
  fields_->parse(text);
  if (!fields_->has("quarnex"_key) || fields_->utf8("quarnex"_key) != "recording") {
    throw LineError("is not the first line of a recording");
  }
  const auto version = fields_->integer<std::int64_t>("version"_key);
  if (version != 1) throw LineError(concat("has version ", version, "; only version 1 is supported"));
  return offsetOf(*fields_);
}

Line LineParser::parse(std::string_view text) {
  fields_->parse(text);
  values_.clear();
  const Key key = kindKeyOf(*fields_);
  return kKinds[static_cast<std::size_t>(key)](key, text, *fields_, values_);
}

}  // namespace quarnex::recording
