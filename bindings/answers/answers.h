// Lists the methods in English once, with answers as JSON, for all bindings that call by name.
#pragma once

#include <chrono>
#include <span>
#include <string>
#include <string_view>

#include "host/method_table.h"

namespace quarnex {

/// One call, with parameters of the kinds that its row lists. Each row takes at most one link, which comes
/// first, and one other parameter, which comes last.
struct AnswerCall {
  std::int16_t link() const { return std::get<std::int16_t>(values.front()); }
  std::chrono::seconds seconds() const { return std::chrono::seconds(std::get<std::int16_t>(values.back())); }
  bool on() const { return std::get<bool>(values.back()); }
  const std::string& text() const { return std::get<std::string>(values.back()); }

  QuarnSocket& quarn;
  std::span<const Value> values;
};

/// A method beside those of `methodTable`.
struct Answer {
  std::string_view name;
  std::string_view summary;
  std::span<const Parameter> parameters;
  std::string_view resultSchema;  ///< a JSON Schema of the result
  /// Returns the result as JSON. Throws like the method of the library.
  std::string (*call)(const AnswerCall& call);
};

std::span<const Answer> answers();

// JSON Schemas of results.
inline constexpr std::string_view kNullSchema = R"({"type":"null"})";
inline constexpr std::string_view kObjectSchema = R"({"type":"object"})";

}  // namespace quarnex
