// What a hostile peer sends: everything that the protocol does not expect, and much that it does.
#pragma once

#include <string>
#include <string_view>

#include "platform/simulated/random.h"

namespace quarnex::simulation {

using namespace simulated;

/// Every text that a hostile peer makes up has this character, which no host of a simulation sends.
constexpr char kHostileMark = '\xA7';

struct Attack {
  std::string_view name;
  /// Bytes for a link of that identifier.
  std::string (*bytes)(Random& random, int identifier);
};

/// The next one: rubbish, floods of start or end characters, frames of 0 to 8 bytes, every count character,
/// messages at the limit of 16 bits, service words in any mix, forged reports, line ends, whole batches of
/// probes. At most about 70,000 bytes.
const Attack& anyAttack(Random& random);

}  // namespace quarnex::simulation
