// Ready-made ways to tamper with what an end sends. A host sends each frame with one call: the k-th send is a
// frame.
#pragma once

#include <cstddef>
#include <cstdint>
#include <set>
#include <vector>

#include "platform/simulated/connection.h"
#include "platform/simulated/random.h"

namespace quarnex::simulation {

using namespace simulated;

/// Numbers of sends on one connection, from 1.
using Sends = std::set<std::uint64_t>;

/// These sends never arrive; come twice; come with one bit of their middle byte turned.
Tamper losing(Sends sends);
Tamper doubling(Sends sends);
Tamper corrupting(Sends sends);
/// Behind these sends comes the first one of the connection again.
Tamper repeatingFirst(Sends sends);
/// Only the first `bytes` of send number `send` arrive, and then the connection ends in that way.
Tamper truncating(std::uint64_t send, std::size_t bytes, Piece::Ending ending);
/// Every send comes in two parts, cut behind `byte` bytes, the second `pause` later.
Tamper cuttingAt(std::size_t byte, Milliseconds pause);
/// One byte at a time, each `pause` after the one before.
Tamper dripping(Milliseconds pause);

/// Damage at random: chances of a send in a thousand.
struct Damage {
  std::uint32_t flip = 0;      ///< one bit of it turns
  std::uint32_t drop = 0;      ///< one byte of it is missing
  std::uint32_t insert = 0;    ///< a byte too many, a start or end character as often as any other
  std::uint32_t lose = 0;      ///< it never arrives
  std::uint32_t repeat = 0;    ///< it arrives twice
  std::uint32_t old = 0;       ///< an earlier send comes again behind it
  std::uint32_t truncate = 0;  ///< a part of it arrives, and the connection ends
  std::uint32_t repair = 0;    ///< of those flipped: the checksum is made right again
};
Tamper damaging(Damage damage, Random random);

/// Each in turn tampers with what the one before it left. An ending ends the chain's work on that send, too.
Tamper inTurn(std::vector<Tamper> tampers);

}  // namespace quarnex::simulation
