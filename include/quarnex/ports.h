// Returns the TCP port of a link for its type and identifier.
#pragma once

#include <cstdint>
#include <limits>
#include <string_view>

#include "quarnex/export.h"

namespace quarnex {

/// TCP port of a link: the fixed port of a named type, otherwise `kFirstFreePort` + `IdQuarn`. The sum is
/// computed first, so an identifier above 12,667 is failure 6 for any type. The result can lie outside the
/// range of TCP ports if `IdQuarn` is negative.
QUARNEX_API std::int32_t PortaPerTipo(std::string_view Tipo, std::int16_t IdQuarn);

struct PortOfType {
  std::string_view type;
  std::int32_t port;
};

/// The named types. They are compared exactly.
inline constexpr PortOfType kNamedPorts[] = {
    {"VARDO", 20303},      {"PID-TOLV", 20304}, {"PID-MIRTAN", 20305}, {"PID-TOLV-VIDEO", 20306},
    {"TOLV-VIDEO", 20307}, {"MIRTAN", 20308},   {"TOLV", 20309}};
/// Ports of all other types: the first one plus the identifier, up to the last one.
inline constexpr std::int32_t kFirstFreePort = 20100;
inline constexpr std::int32_t kLastFreePort = std::numeric_limits<std::int16_t>::max();

}  // namespace quarnex
