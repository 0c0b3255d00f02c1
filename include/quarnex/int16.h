// Refuses numbers of more than 16 bits where the host's methods take an identifier or an index.
#pragma once

#include <cstdint>
#include <type_traits>

#include "quarnex/failure.h"

namespace quarnex {

/// A parameter of 16 bits that is made from a whole number of any width, or from an unscoped enumeration.
/// Throws `Failure` 6 (overflow) for a number outside -32768 to 32767 instead of cutting it, so that
/// `Add("A", 70000, ...)` does not register identifier 4464. Numbers with a fraction do not compile.
class Int16 {
 public:
  template <class Number, class = std::enable_if_t<std::is_convertible_v<Number, std::int64_t> &&
                                                   !std::is_floating_point_v<Number>>>
  // NOLINTNEXTLINE(google-explicit-constructor): hosts pass plain numbers
  constexpr Int16(Number number) : value_(static_cast<std::int16_t>(number)) {
    if (!fits(number)) throw Failure(6, "Overflow");
  }
  // NOLINTNEXTLINE(google-explicit-constructor)
  constexpr operator std::int16_t() const { return value_; }

 private:
  template <class Number>
  constexpr bool fits(Number number) const {
    // A number of 64 bits without sign would seem negative in the comparison of signed ones.
    if constexpr (std::is_unsigned_v<Number>) return static_cast<std::uint64_t>(number) <= INT16_MAX;
    return static_cast<std::int64_t>(number) == value_;
  }

  std::int16_t value_;
};

}  // namespace quarnex
