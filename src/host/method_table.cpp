#include "host/method_table.h"

namespace quarnex {
namespace {

ValueKind kindOf(const Value& value) {
  return static_cast<ValueKind>(value.index());
}

template <class Key>
const Method* find(const Key& key, Key Method::*field) {
  const auto found = std::ranges::find(methods::kTable, key, field);
  return found == std::end(methods::kTable) ? nullptr : found;
}

}  // namespace

const Method* findMethod(std::string_view name) {
  return find(name, &Method::name);
}

const Method* findMethod(std::int32_t dispatchId) {
  return find(dispatchId, &Method::dispatchId);
}

bool parametersFit(const Method& method, std::span<const Value> parameters) {
  return std::ranges::equal(method.parameters, parameters, {}, &Parameter::kind, kindOf);
}

Value invoke(QuarnSocket& quarn, const Method& method, std::span<const Value> parameters) {
  if (parameters.size() != method.parameters.size()) throw Failure(450, "Wrong number of arguments");
  if (!parametersFit(method, parameters)) throw Failure(13, "Type mismatch");
  return method.call(quarn, parameters);
}

}  // namespace quarnex
