// The 15 host methods, once: name, dispatch identifier, parameters, result and the call.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "services/observer.h"

namespace quarnex {

class QuarnSocket;

enum class ValueKind : std::uint8_t { None, Integer, Boolean, String };

struct Parameter {
  std::string_view name;
  ValueKind kind;
};

struct Method {
  std::string_view name;
  std::int32_t dispatchId;
  std::span<const Parameter> parameters;
  ValueKind result;
  Value (*call)(QuarnSocket& quarn, std::span<const Value> parameters);
};

/// In the order of the interface; dispatch identifiers 0x60030000 to 0x6003000E.
std::span<const Method> methodTable();

/// The method of that exact name, or nullptr.
const Method* findMethod(std::string_view name);
/// The method of that dispatch identifier, or nullptr.
const Method* findMethod(std::int32_t dispatchId);

/// True if number and kinds of `parameters` are those of `method`.
bool parametersFit(const Method& method, std::span<const Value> parameters);

/// Calls `method`. Failure 450 "Wrong number of arguments" or 13 "Type mismatch" if the parameters do not
/// fit, else whatever the method itself throws.
Value invoke(QuarnSocket& quarn, const Method& method, std::span<const Value> parameters);

}  // namespace quarnex
