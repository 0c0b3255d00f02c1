// Lists the host methods once, for all code that calls them by name or number: name, dispatch identifier,
// parameters, result and call.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "quarnex/quarn_socket.h"
#include "services/observer.h"

namespace quarnex {

enum class ValueKind : std::uint8_t { None, Integer, Boolean, String };

struct Parameter {
  std::string_view name;
  ValueKind kind;
  bool byReference = false;  ///< in the component class, where the method still only reads it
};

/// Dispatch identifiers of the methods, in the order of the interface.
enum class DispatchId : std::int32_t {
  Add = 0x60030000,
  GetMessaggioArrivato,
  ProntoPerUscire,
  Invia,
  Apri,
  Chiudi,
  Init,
  Uscita,
  MessaggioArrivato,
  GetDebug,
  AttivaDebug,
  DisattivaDebug,
  AttivaLog,
  DisattivaLog,
  Connesso,
  End  ///< behind the last method
};

struct Method {
  std::string_view name;
  std::int32_t dispatchId;
  std::span<const Parameter> parameters;
  ValueKind result;
  bool variantResult;  ///< the component class returns a variant that holds the result
  Value (*call)(QuarnSocket& quarn, std::span<const Value> parameters);
};

namespace methods {

/// A name as a template argument.
template <std::size_t size>
struct Name {
  // NOLINTNEXTLINE(google-explicit-constructor): written as a plain text in the table
  consteval Name(const char (&text)[size]) { std::copy_n(text, size, characters); }
  char characters[size];
};

template <class Type>
constexpr ValueKind kindOf() {
  if constexpr (std::is_void_v<Type>) return ValueKind::None;
  if constexpr (std::is_same_v<Type, std::int16_t> || std::is_same_v<Type, Int16>) return ValueKind::Integer;
  if constexpr (std::is_same_v<Type, bool>) return ValueKind::Boolean;
  if constexpr (std::is_same_v<Type, std::string> || std::is_same_v<Type, std::string_view>)
    return ValueKind::String;
}

template <class Type>
decltype(auto) argument(const Value& value) {
  if constexpr (std::is_same_v<Type, std::string_view>) {
    return std::string_view(std::get<std::string>(value));
  } else if constexpr (std::is_same_v<Type, Int16>) {
    return Int16(std::get<std::int16_t>(value));
  } else {
    return std::get<Type>(value);
  }
}

template <class Member>
struct Signature;

template <class Result, class... Types>
struct Signature<Result (QuarnSocket::*)(Types...)> {
  static constexpr ValueKind result = kindOf<Result>();

  template <Name... names>
  static constexpr std::array<Parameter, sizeof...(Types)> parameters{
      Parameter{names.characters, kindOf<Types>(), true}...};

  template <auto method>
  static Value call(QuarnSocket& quarn, std::span<const Value> values) {
    return [&]<std::size_t... position>(std::index_sequence<position...>)->Value {
      if constexpr (std::is_void_v<Result>) {
        (quarn.*method)(argument<Types>(values[position])...);
        return {};
      } else {
        return (quarn.*method)(argument<Types>(values[position])...);
      }
    }
    (std::index_sequence_for<Types...>());
  }
};

template <auto method>
using SignatureOf = Signature<decltype(method)>;

/// Kinds of parameters and result follow from the type of `method`, so only names are written out.
template <DispatchId id, auto method, Name name, Name... parameterNames>
constexpr Method row() {
  return {name.characters,
          static_cast<std::int32_t>(id),
          SignatureOf<method>::template parameters<parameterNames...>,
          SignatureOf<method>::result,
          id == DispatchId::ProntoPerUscire,
          SignatureOf<method>::template call<method>};
}

// One word gives identifier, function and name of a row, so that the three cannot differ.
#define QUARNEX_METHOD(method, ...) \
  row<DispatchId::method, &QuarnSocket::method, #method __VA_OPT__(, ) __VA_ARGS__>()

inline constexpr Method kTable[] = {
    QUARNEX_METHOD(Add, "Tipo", "IdQUARN", "ConnessioneClient", "UsaTcp"),
    QUARNEX_METHOD(GetMessaggioArrivato, "IdxQuarn"),
    QUARNEX_METHOD(ProntoPerUscire),
    QUARNEX_METHOD(Invia, "IdxQuarn", "s"),
    QUARNEX_METHOD(Apri, "IdxQuarn"),
    QUARNEX_METHOD(Chiudi, "IdxQuarn"),
    QUARNEX_METHOD(Init, "s"),
    QUARNEX_METHOD(Uscita),
    QUARNEX_METHOD(MessaggioArrivato, "IdxQuarn"),
    QUARNEX_METHOD(GetDebug, "IdxQuarn"),
    QUARNEX_METHOD(AttivaDebug, "IdxQuarn"),
    QUARNEX_METHOD(DisattivaDebug, "IdxQuarn"),
    QUARNEX_METHOD(AttivaLog),
    QUARNEX_METHOD(DisattivaLog, "IdxQuarn"),
    QUARNEX_METHOD(Connesso, "IdxQuarn"),
};

#undef QUARNEX_METHOD

constexpr bool inOrder(std::span<const Method> table) {
  auto next = static_cast<std::int32_t>(DispatchId::Add);
  return std::ranges::all_of(table, [&](const Method& method) { return method.dispatchId == next++; }) &&
         next == static_cast<std::int32_t>(DispatchId::End);
}
static_assert(inOrder(kTable), "each dispatch identifier has one row, in their order");

/// Position of the row of `method`; does not compile if there is no such row.
template <auto method>
consteval std::size_t positionOf() {
  std::size_t position = 0;
  while (kTable[position].call != SignatureOf<method>::template call<method>) ++position;
  return position;
}

}  // namespace methods

/// All methods in the order of the interface, which is that of their dispatch identifiers.
constexpr std::span<const Method> methodTable() {
  return methods::kTable;
}

/// The row of a method, bound at compile time: `methodOf<&QuarnSocket::Add>()`.
template <auto method>
constexpr const Method& methodOf() {
  return methods::kTable[methods::positionOf<method>()];
}

/// The method with exactly this name, or nullptr.
const Method* findMethod(std::string_view name);
/// The method with this dispatch identifier, or nullptr.
const Method* findMethod(std::int32_t dispatchId);

/// True if number and kinds of `parameters` are those of `method`.
bool parametersFit(const Method& method, std::span<const Value> parameters);

/// Calls `method`. Failure 450 "Wrong number of arguments" or 13 "Type mismatch" if the parameters do not
/// fit; otherwise throws like the method itself.
Value invoke(QuarnSocket& quarn, const Method& method, std::span<const Value> parameters);

}  // namespace quarnex
