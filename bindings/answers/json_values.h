// Writes values of the library as JSON, for bindings whose results are texts.
#pragma once

#include <concepts>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "quarnex/link_event.h"
#include "quarnex/link_snapshot.h"
#include "quarnex/receipts.h"
#include "quarnex/text_rules.h"

namespace quarnex {

/// A string of JSON in UTF-8: one character for each byte of `bytes`.
std::string toJson(std::string_view bytes);
std::string toJson(const char* text);
std::string toJson(bool value);
std::string toJson(std::integral auto value) {
  return std::to_string(value);
}
/// An object with the members of the structure, under their names.
std::string toJson(const TextCheck& check);
std::string toJson(const LinkFailure& failure);
std::string toJson(const Receipt& receipt);
std::string toJson(const PendingTexts& texts);
std::string toJson(const SendResult& result);
std::string toJson(const LinkOutage& outage);
/// Without the members that events of this type do not use.
std::string toJson(const LinkEvent& event);
/// The causes that occurred, with their numbers of texts.
std::string toJson(const OutcomeCounts& counts);
/// null for the snapshot of a link that does not exist.
std::string toJson(const LinkSnapshot& link);
/// null if there is no value.
template <class Type>
std::string toJson(const std::optional<Type>& value) {
  return value ? toJson(*value) : "null";
}

/// An array with what `toItem` makes of each row.
std::string jsonArray(const auto& rows, const auto& toItem) {
  std::string items;
  for (const auto& row : rows) {
    if (!items.empty()) items += ',';
    items += toItem(row);
  }
  return '[' + items + ']';
}
template <class Type>
std::string toJson(const std::vector<Type>& values) {
  return jsonArray(values, [](const Type& value) { return toJson(value); });
}

/// Collects the members of an object.
class JsonObject {
 public:
  JsonObject& add(std::string_view name, const auto& value) { return addJson(name, toJson(value)); }
  JsonObject& addJson(std::string_view name, std::string_view json);
  std::string text() const { return text_ + '}'; }

 private:
  std::string text_ = "{";
};

}  // namespace quarnex
