// Describes the component classes as the tables of methods do, for calls by dispatch and for the type
// library.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "answers/answers.h"
#include "host/method_table.h"

namespace quarnex {

inline constexpr std::string_view kTypeLibraryIdentifier = "{6F0C5B0E-2B1D-4E57-9C0A-51D3A7A0E403}";

struct ComponentMethod {
  std::string_view name;
  std::int32_t dispatchId;
  std::span<const Parameter> parameters;
  ValueKind result;
  bool variantResult;  ///< the result is a variant that holds it
  Value (*call)(const ComponentMethod& method, QuarnSocket& quarn, std::span<const Value> values);
  const Method* method = nullptr;
  const Answer* answer = nullptr;
};

struct ComponentClass {
  std::string_view name, identifier;
  std::string_view interfaceName, interfaceIdentifier;
  std::vector<ComponentMethod> methods;
};

/// Compares names as the component model does, which ignores the case of letters.
bool equalIgnoringCase(std::string_view one, std::string_view other);

/// The programmatic name: "Quarnex.QuarnSocket".
std::string programmaticNameOf(const ComponentClass& described);

/// The source of the type library, for its compiler.
std::string typeLibrarySource();

}  // namespace quarnex
