#include "recording/format/json_fields.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <utility>

#include "recording/format/text_codes.h"

namespace quarnex::recording {
namespace {

constexpr int kDepthMax = 8;           // a recording needs 2; unknown keys may hold more
constexpr std::size_t kParamsMax = 5;  // one more than any method has

std::string quoted(Key key) {
  return '"' + std::string(nameOf(key)) + '"';
}

}  // namespace

/// Receives the parser's events. An event that returns false ends the parse.
class JsonFields::Builder {
 public:
  explicit Builder(JsonFields& line) : line_(line) {}

  bool null() { return put(JsonValue::Type::Null, 0); }
  bool boolean(bool value) { return put(JsonValue::Type::Boolean, value ? 1 : 0); }
  bool number_integer(std::int64_t value) { return put(JsonValue::Type::Integer, value); }
  bool number_unsigned(std::uint64_t value) {
    if (value > std::numeric_limits<std::int64_t>::max()) return put(JsonValue::Type::Other, 0);
    return put(JsonValue::Type::Integer, static_cast<std::int64_t>(value));
  }
  bool number_float(double, const std::string&) { return put(JsonValue::Type::Other, 0); }
  bool string(std::string& value) {
    JsonValue* field = place();
    if (field != nullptr) {
      field->type = JsonValue::Type::Text;
      field->text.swap(value);
    }
    return depth_ > 0;
  }
  bool binary(std::vector<std::uint8_t>&) { return false; }  // JSON text has none

  bool start_object(std::size_t) {
    return depth_ == 0 ? descend() : put(JsonValue::Type::Other, 0) && descend();
  }
  bool start_array(std::size_t) {
    if (!put(JsonValue::Type::List, 0)) return false;
    inParams_ = inParams_ || (depth_ == 1 && known_ && key_ == Key::Params);
    return descend();
  }
  bool end_object() { return ascend(); }
  bool end_array() { return ascend(); }

  bool key(const std::string& name) {
    if (depth_ != 1) return true;
    for (std::size_t i = 0; i < kKeys; ++i) {
      key_ = static_cast<Key>(i);
      known_ = nameOf(key_) == name;
      if (known_) break;
    }
    return true;
  }

  template <class Exception>
  bool parse_error(std::size_t position, const std::string&, const Exception&) {
    problem_ = "is not JSON (character " + std::to_string(position) + ")";
    return false;
  }

  std::string problem() const { return problem_.empty() ? "is not a JSON object" : problem_; }

 private:
  bool put(JsonValue::Type type, std::int64_t number) {
    JsonValue* field = place();
    if (field != nullptr) {
      field->type = type;
      field->number = number;
    }
    return depth_ > 0;
  }

  // The place for the next value; nullptr if its key is unknown.
  JsonValue* place() {
    if (depth_ == 2 && inParams_ && line_.params_.size() < kParamsMax) return &line_.params_.emplace_back();
    if (depth_ != 1 || !known_) return nullptr;
    line_.present_ |= bit(key_);
    return &line_.fields_[static_cast<std::size_t>(key_)];
  }

  bool descend() {
    if (++depth_ <= kDepthMax) return true;
    problem_ = "is nested more than " + std::to_string(kDepthMax) + " deep";
    return false;
  }

  bool ascend() {
    if (--depth_ == 1) inParams_ = false;
    return true;
  }

  JsonFields& line_;
  int depth_ = 0;
  Key key_{};
  bool known_ = false;
  bool inParams_ = false;
  std::string problem_;
};

void JsonFields::parse(std::string_view line) {
  present_ = 0;
  params_.clear();
  if (line.find('\0') != line.npos) throw LineError("contains a zero byte");
  Builder builder(*this);
  if (!nlohmann::json::sax_parse(line.begin(), line.end(), &builder)) throw LineError(builder.problem());
}

const JsonValue& JsonFields::typed(Key key, JsonValue::Type type) const {
  if (!has(key)) throw ValueError(quoted(key) + " is missing");
  const JsonValue& found = fields_[static_cast<std::size_t>(key)];
  if (found.type != type) throw ValueError(quoted(key) + " is of another type");
  return found;
}

std::int64_t JsonFields::integer(Key key, std::int64_t least, std::int64_t most) const {
  const std::int64_t number = typed(key, JsonValue::Type::Integer).number;
  if (number < least || number > most) throw ValueError(quoted(key) + " is out of its range");
  return number;
}

bool JsonFields::boolean(Key key) const {
  return typed(key, JsonValue::Type::Boolean).number != 0;
}

std::string_view JsonFields::utf8(Key key) const {
  return typed(key, JsonValue::Type::Text).text;
}

std::string_view JsonFields::bytes(Key key) {
  typed(key, JsonValue::Type::Text);
  return toBytes(field(key));
}

std::vector<JsonValue>& JsonFields::params() {
  if (has(Key::Params)) typed(Key::Params, JsonValue::Type::List);
  return params_;
}

std::string& toBytes(JsonValue& field) {
  if (!toBytes(field.text)) throw LineError("has a character above 255");
  return field.text;
}

}  // namespace quarnex::recording
