#include "host/method_table.h"

#include <algorithm>
#include <cassert>

#include "quarnex/quarn_socket.h"

namespace quarnex {
namespace {

using Values = std::span<const Value>;

constexpr Parameter kAddParameters[] = {{"Tipo", ValueKind::String},
                                        {"IdQUARN", ValueKind::Integer},
                                        {"ConnessioneClient", ValueKind::Boolean},
                                        {"UsaTcp", ValueKind::Boolean}};
constexpr Parameter kIndex[] = {{"IdxQuarn", ValueKind::Integer}};
constexpr Parameter kIndexAndText[] = {{"IdxQuarn", ValueKind::Integer}, {"s", ValueKind::String}};
constexpr Parameter kText[] = {{"s", ValueKind::String}};

std::int16_t integerAt(Values values, std::size_t position) {
  return std::get<std::int16_t>(values[position]);
}
bool booleanAt(Values values, std::size_t position) {
  return std::get<bool>(values[position]);
}
const std::string& textAt(Values values, std::size_t position) {
  return std::get<std::string>(values[position]);
}

template <auto method>
Value callWithIndex(QuarnSocket& quarn, Values values) {
  if constexpr (std::is_void_v<decltype((quarn.*method)(0))>) {
    (quarn.*method)(integerAt(values, 0));
    return {};
  } else {
    return (quarn.*method)(integerAt(values, 0));
  }
}

template <auto method>
Value callPlain(QuarnSocket& quarn, Values) {
  (quarn.*method)();
  return {};
}

constexpr std::int32_t kFirstDispatchId = 0x60030000;

constexpr Method kMethods[] = {
    {"Add", kFirstDispatchId + 0, kAddParameters, ValueKind::Integer,
     [](QuarnSocket& quarn, Values values) -> Value {
       return quarn.Add(textAt(values, 0), integerAt(values, 1), booleanAt(values, 2), booleanAt(values, 3));
     }},
    {"GetMessaggioArrivato", kFirstDispatchId + 1, kIndex, ValueKind::String,
     callWithIndex<&QuarnSocket::GetMessaggioArrivato>},
    {"ProntoPerUscire",
     kFirstDispatchId + 2,
     {},
     ValueKind::Integer,
     [](QuarnSocket& quarn, Values) -> Value { return quarn.ProntoPerUscire(); }},
    {"Invia", kFirstDispatchId + 3, kIndexAndText, ValueKind::None,
     [](QuarnSocket& quarn, Values values) -> Value {
       quarn.Invia(integerAt(values, 0), textAt(values, 1));
       return {};
     }},
    {"Apri", kFirstDispatchId + 4, kIndex, ValueKind::None, callWithIndex<&QuarnSocket::Apri>},
    {"Chiudi", kFirstDispatchId + 5, kIndex, ValueKind::None, callWithIndex<&QuarnSocket::Chiudi>},
    {"Init", kFirstDispatchId + 6, kText, ValueKind::None,
     [](QuarnSocket& quarn, Values values) -> Value {
       quarn.Init(textAt(values, 0));
       return {};
     }},
    {"Uscita", kFirstDispatchId + 7, {}, ValueKind::None, callPlain<&QuarnSocket::Uscita>},
    {"MessaggioArrivato", kFirstDispatchId + 8, kIndex, ValueKind::Boolean,
     callWithIndex<&QuarnSocket::MessaggioArrivato>},
    {"GetDebug", kFirstDispatchId + 9, kIndex, ValueKind::String, callWithIndex<&QuarnSocket::GetDebug>},
    {"AttivaDebug", kFirstDispatchId + 10, kIndex, ValueKind::None, callWithIndex<&QuarnSocket::AttivaDebug>},
    {"DisattivaDebug", kFirstDispatchId + 11, kIndex, ValueKind::None,
     callWithIndex<&QuarnSocket::DisattivaDebug>},
    {"AttivaLog", kFirstDispatchId + 12, {}, ValueKind::None, callPlain<&QuarnSocket::AttivaLog>},
    {"DisattivaLog", kFirstDispatchId + 13, kIndex, ValueKind::None,
     callWithIndex<&QuarnSocket::DisattivaLog>},
    {"Connesso", kFirstDispatchId + 14, kIndex, ValueKind::Boolean, callWithIndex<&QuarnSocket::Connesso>},
};

ValueKind kindOf(const Value& value) {
  return static_cast<ValueKind>(value.index());
}

}  // namespace

std::span<const Method> methodTable() {
  return kMethods;
}

const Method* findMethod(std::string_view name) {
  const auto* found = std::ranges::find(kMethods, name, &Method::name);
  return found == std::end(kMethods) ? nullptr : found;
}

const Method* findMethod(std::int32_t dispatchId) {
  const auto* found = std::ranges::find(kMethods, dispatchId, &Method::dispatchId);
  return found == std::end(kMethods) ? nullptr : found;
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
