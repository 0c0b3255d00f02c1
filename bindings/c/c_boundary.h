// Runs each call of the C interface: checks its pointers, converts exceptions to failure numbers, and copies
// structs whose size the caller states.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "quarnex/event_report.h"
#include "quarnex/host_loop.h"
#include "quarnex/quarn_socket.h"
#include "quarnex/quarnex.h"
#include "quarnex/text_rules.h"

/// The handle of a C host, with everything that the results of its last calls point to.
struct quarnex_instance {
  quarnex::QuarnSocket quarn;
  quarnex::HostLoop loop{};
  std::string text{};
  std::vector<std::int16_t> links{};
  std::vector<quarnex_pending_texts> pending{};
  quarnex::LinkSnapshot snapshot{};
  quarnex::LinkOutage outage{};
  quarnex::EventReport report{};
  quarnex::TextCheck check{};
  std::optional<quarnex::LinkEvent> event{};
  std::vector<quarnex_receipt> receipts{};
  bool eventGiven = true;  ///< `event` has reached the host, so the next call takes another
};

namespace quarnex::c {

/// Describes the exception that is being handled in `error`, if that is not NULL, and returns its number.
std::int32_t settle(quarnex_error* error) noexcept;

/// Runs `body`; returns 0, or the number of the exception that it throws.
template <class Body>
std::int32_t guarded(quarnex_error* error, const Body& body) noexcept {
  try {
    body();
    return 0;
  } catch (...) {
    return settle(error);
  }
}

[[noreturn]] void refuse(const char* reason);
constexpr const char* kUnknownMember = "a struct asks for something that this version does not know";

template <class Type>
Type& required(Type* pointer) {
  if (pointer == nullptr) refuse("a pointer is NULL");
  return *pointer;
}

/// A struct with a size, which is the size that the caller knows.
template <class Struct>
Struct& sized(Struct* pointer) {
  if (required(pointer).size < sizeof(std::uint64_t)) refuse("the size of a struct is not set");
  return *pointer;
}

/// Lets `convert` fill a struct, and copies as much of it as the caller's struct holds.
template <class Struct, class Convert>
void fill(Struct& into, const Convert& convert) {
  const std::uint32_t size = into.size;
  if (size >= sizeof into) return convert(into);
  Struct full{};
  convert(full);
  full.size = size;
  std::memcpy(&into, &full, size);
}

/// The caller's struct with 0 in the members that it lacks; all 0 if there is none.
template <class Struct>
Struct completed(const Struct* pointer) {
  Struct full{};
  if (pointer == nullptr) return full;
  const std::size_t size = sized(pointer).size;
  const char* const bytes = reinterpret_cast<const char*>(pointer);
  if (size > sizeof full &&
      std::any_of(bytes + sizeof full, bytes + size, [](char byte) { return byte != 0; }))
    refuse(kUnknownMember);
  std::memcpy(&full, pointer, std::min(size, sizeof full));
  return full;
}

/// A text of the caller as a parameter; "" may be NULL.
struct CallerText {
  const char* bytes;
  std::size_t length;
  // NOLINTNEXTLINE(google-explicit-constructor): a parameter of the methods
  operator std::string_view() const {
    if (bytes == nullptr && length > 0) refuse("a text is NULL");
    return length > 0 ? std::string_view(bytes, length) : std::string_view();
  }
};

inline quarnex_text view(const std::string& text) {
  return {text.data(), text.size()};
}

/// Durations beyond 35,000 years count as so many.
inline std::chrono::milliseconds duration(std::int64_t milliseconds) {
  constexpr std::int64_t longest = std::int64_t{1} << 50;
  return std::chrono::milliseconds(std::clamp<std::int64_t>(milliseconds, -1, longest));
}

template <class Result, class Number>
void give(quarnex_instance& /*owner*/, Result& into, Number number) {
  into = static_cast<Result>(number);
}
inline void give(quarnex_instance& owner, quarnex_text& into, std::string text) {
  owner.text = std::move(text);
  into = view(owner.text);
}
inline void give(quarnex_instance& owner, quarnex_text& into, std::optional<std::string> text) {
  if (text) return give(owner, into, std::move(*text));
  into = {nullptr, 0};
}

/// Calls a method without a result.
template <auto method, class... Arguments>
std::int32_t call(quarnex_instance* instance, quarnex_error* error, const Arguments&... arguments) noexcept {
  return guarded(error, [&] { (required(instance).quarn.*method)(arguments...); });
}

/// Calls a method and hands over its result.
template <auto method, class Result, class... Arguments>
std::int32_t ask(quarnex_instance* instance, Result* result, quarnex_error* error,
                 const Arguments&... arguments) noexcept {
  return guarded(error, [&] {
    Result& into = required(result);
    quarnex_instance& owner = required(instance);
    give(owner, into, (owner.quarn.*method)(arguments...));
  });
}

}  // namespace quarnex::c
