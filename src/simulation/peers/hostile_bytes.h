// Bytes of a hostile peer: everything that the protocol does not expect, and much that it does.
#pragma once

#include <string>
#include <string_view>

#include "platform/simulated/random.h"

namespace quarnex::simulation {

/// Every text that a hostile peer invents contains this character, which no simulated host sends.
constexpr char kHostileMark = '\xA7';

struct Attack {
  std::string_view name;
  /// At most about 70,000 bytes for a link of that identifier.
  std::string (*bytes)(simulated::Random& random, int identifier);
};

/// A random attack: rubbish, floods of start or end characters, frames of 0 to 8 bytes, every count
/// character, messages at the limit of 16 bits, service words in any combination, forged reports, line ends,
/// whole batches of probes.
const Attack& anyAttack(simulated::Random& random);

}  // namespace quarnex::simulation
