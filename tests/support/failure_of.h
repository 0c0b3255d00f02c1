// Returns the number of the failure that a call throws.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>

#include "quarnex/failure.h"

namespace quarnex {

/// 0 if the call succeeds. Every failure has a description.
template <class Call>
std::int32_t failureOf(const Call& call) {
  try {
    call();
  } catch (const Failure& failure) {
    EXPECT_FALSE(failure.description().empty());
    return failure.number();
  }
  return 0;
}

}  // namespace quarnex
