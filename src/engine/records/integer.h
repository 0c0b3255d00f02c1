// 16-bit arithmetic that fails instead of wrapping.
#pragma once

#include <cstdint>
#include <limits>

#include "quarnex/failure.h"

namespace quarnex {

/// `value` as a 16-bit signed integer; failure 6 Overflow if it does not fit.
constexpr std::int16_t toInteger(std::int64_t value) {
  if (value < std::numeric_limits<std::int16_t>::min() || value > std::numeric_limits<std::int16_t>::max()) {
    throw Failure(6, "Overflow");
  }
  return static_cast<std::int16_t>(value);
}

}  // namespace quarnex
