// Changes sends on their way: cuts them, and damages them at random. Each send of a host is one frame.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/simulated/connection.h"
#include "platform/simulated/random.h"

namespace quarnex::simulation {
using namespace simulated;

/// Cuts each send in two after `byte` bytes; the second part leaves `pause` later.
Tamper cuttingAt(std::size_t byte, Milliseconds pause);
/// Sends one byte at a time, each `pause` after the one before.
Tamper dripping(Milliseconds pause);

/// Chances that a send is damaged, in a thousand.
struct Damage {
  std::uint32_t flip = 0;      ///< one bit changes
  std::uint32_t drop = 0;      ///< one byte is missing
  std::uint32_t insert = 0;    ///< one byte is added, in half of the cases a start or end character
  std::uint32_t lose = 0;      ///< nothing arrives
  std::uint32_t repeat = 0;    ///< the send arrives twice
  std::uint32_t old = 0;       ///< an earlier send arrives again after it
  std::uint32_t truncate = 0;  ///< a part arrives, and the connection ends
  std::uint32_t repair = 0;    ///< the checksum is corrected, among sends with a changed bit
};
Tamper damaging(Damage damage, Random random);

/// Each tamper changes what the one before it left. An ending also ends the work on that send.
Tamper inTurn(std::vector<Tamper> tampers);

}  // namespace quarnex::simulation
