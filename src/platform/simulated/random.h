// Random: the only source of chance in a simulation. One seed gives the same numbers with every compiler.
#pragma once

#include <cstddef>
#include <cstdint>

namespace quarnex::simulated {

/// A splitmix generator: a counter whose bits are mixed. The distributions of the standard library would
/// differ from one library to another. Draw only once in an expression: compilers may evaluate two draws in
/// either order.
class Random {
 public:
  explicit Random(std::uint64_t seed) : state_(seed) {}

  std::uint64_t next() {
    state_ += 0x9E3779B97F4A7C15;
    std::uint64_t mixed = state_;
    mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9;
    mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EB;
    return mixed ^ (mixed >> 31);
  }
  /// 0 to `bound` - 1, which is less than 2^32; 0 for a bound of 0.
  std::size_t below(std::uint64_t bound) { return static_cast<std::size_t>(((next() >> 32) * bound) >> 32); }
  /// `low` to `high`, both included; they are less than 2^32 apart.
  std::int64_t between(std::int64_t low, std::int64_t high) {
    return low + static_cast<std::int64_t>(below(static_cast<std::uint32_t>(high - low + 1)));
  }
  /// True `perThousand` times in a thousand.
  bool chance(std::uint32_t perThousand) { return perThousand > 0 && below(1000) < perThousand; }
  /// A separate generator, whose draws do not shift the numbers of this one.
  Random split() { return Random(next()); }

 private:
  std::uint64_t state_;
};

}  // namespace quarnex::simulated
