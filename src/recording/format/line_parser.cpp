#include "recording/format/line_parser.h"

#include <algorithm>
#include <array>
#include <bit>
#include <concepts>
#include <optional>
#include <span>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>

#include "engine/records/text_pieces.h"
#include "recording/format/json_fields.h"

namespace quarnex::recording {
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
  const auto add = [&kinds]<class OneLine>(std::type_identity<OneLine>) {
    if constexpr (requires { OneLine::kKey; })
      kinds[static_cast<std::size_t>(OneLine::kKey)] = &parseAs<OneLine>;
  };
  (add(std::type_identity<Lines>{}), ...);
  kinds[static_cast<std::size_t>("sent"_key)] = &parseAs<OperationLine>;
  return kinds;
}(std::type_identity<Line>{});

// `Missing` counts only without any other.
constexpr std::uint32_t kKindBits = (1U << static_cast<unsigned>("missing"_key)) - 1;

Key kindKeyOf(const JsonFields& fields) {
  const std::uint32_t kinds = fields.present() & kKindBits;
  if (kinds == 0 && fields.has("missing"_key)) return "missing"_key;
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
