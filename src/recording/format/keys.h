// Lists the keys of the JSON objects that make up a recording.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace quarnex::recording {

/// The keys up to `Now` each determine the kind of a line; a line has exactly one of them, or `Missing`.
enum class Key : std::uint8_t {
  Call,
  Tick,
  Event,
  Trace,
  Did,
  Sent,
  Result,
  Failure,
  End,
  Fetched,
  Failed,
  Property,
  Now,
  Missing,
  At,
  Params,
  Nested,
  UtcOffset,
  Socket,
  Index,
  Code,
  Handle,
  RemoteHost,
  Text,
  Value,
  Name,
  Number,
  Description,
  Quarnex,
  Version
};

/// By key, as they are written.
inline constexpr auto kKeyTokens = std::to_array<std::string_view>(
    {"\"call\":",   "\"tick\":",    "\"event\":",  "\"trace\":",       "\"did\":",         "\"sent\":",
     "\"result\":", "\"failure\":", "\"end\":",    "\"fetched\":",     "\"failed\":",      "\"property\":",
     "\"now\":",    "\"missing\":", "\"at\":",     "\"params\":",      "\"nested\":",      "\"utc_offset\":",
     "\"socket\":", "\"index\":",   "\"code\":",   "\"handle\":",      "\"remote_host\":", "\"text\":",
     "\"value\":",  "\"name\":",    "\"number\":", "\"description\":", "\"quarnex\":",     "\"version\":"});
inline constexpr std::size_t kKeys = kKeyTokens.size();
static_assert(kKeys == static_cast<std::size_t>(Key::Version) + 1);

constexpr std::string_view tokenOf(Key key) {
  return kKeyTokens[static_cast<std::size_t>(key)];
}

/// The token without its quotes and colon.
constexpr std::string_view nameOf(Key key) {
  return tokenOf(key).substr(1, tokenOf(key).size() - 3);
}

}  // namespace quarnex::recording
