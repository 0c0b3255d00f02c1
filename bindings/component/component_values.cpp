#include "component/component_values.h"

#include <charconv>
#include <cmath>
#include <iterator>
#include <utility>

#include "component/component_classes.h"

namespace quarnex {
namespace {

[[noreturn]] void failMismatch() {
  throw Failure(13, "Type mismatch");
}

std::string_view trimmed(std::string_view text) {
  const auto isBlank = [](char c) { return c == ' ' || c == '\t'; };
  while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
  return text;
}

double numberIn(std::string_view text) {
  const std::string_view digits = trimmed(text);
  double number = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  if (digits.empty() || error != std::errc() || end != digits.data() + digits.size()) failMismatch();
  return number;
}

// The number that a parameter stands for.
struct ToNumber {
  double operator()(std::monostate) const { return 0; }
  double operator()(bool flag) const { return flag ? -1 : 0; }
  double operator()(const std::string& text) const { return numberIn(text); }
  double operator()(auto number) const { return number; }
};

struct ToText {
  std::string operator()(std::monostate) const { return {}; }
  std::string operator()(bool flag) const { return flag ? "-1" : "0"; }
  std::string operator()(const std::string& text) const { return text; }
  std::string operator()(auto number) const {
    char digits[32];
    return {digits, std::to_chars(digits, std::end(digits), number).ptr};
  }
};

std::int16_t toInteger(const ComponentValue& parameter) {
  const double rounded = std::nearbyint(std::visit(ToNumber{}, parameter));
  if (!(rounded >= INT16_MIN && rounded <= INT16_MAX)) throw Failure(6, "Overflow");
  return static_cast<std::int16_t>(rounded);
}

bool toBoolean(const ComponentValue& parameter) {
  if (const auto* text = std::get_if<std::string>(&parameter)) {
    if (equalIgnoringCase(trimmed(*text), "true")) return true;
    if (equalIgnoringCase(trimmed(*text), "false")) return false;
  }
  return std::visit(ToNumber{}, parameter) != 0;
}

}  // namespace

Value converted(const ComponentValue& parameter, ValueKind kind) {
  switch (kind) {
    case ValueKind::Integer:
      return toInteger(parameter);
    case ValueKind::Boolean:
      return toBoolean(parameter);
    case ValueKind::String:
      return std::visit(ToText{}, parameter);
    default:
      failMismatch();
  }
}

ComponentValue componentValue(Value result) {
  return std::visit([](auto&& held) { return ComponentValue(std::move(held)); }, std::move(result));
}

}  // namespace quarnex
