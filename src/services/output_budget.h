// Limits the bytes that sockets hold because the system does not accept them yet.
#pragma once

#include <algorithm>
#include <cstddef>
#include <limits>

#include "services/socket_errors.h"

namespace quarnex {

/// The output of all instances of an adapter. Without limits until they are set.
class OutputBudget {
 public:
  /// From now on an instance that holds more than `each` accepts nothing more, and all together hold at most
  /// `all`, of which an instance may hold as much as is free.
  void limit(std::size_t each, std::size_t all) {
    each_ = each;
    all_ = all;
  }
  /// Failure 10055 if an instance that holds `mine` of the `held` bytes cannot hold `more`.
  void require(std::size_t mine, std::size_t more, std::size_t held) const {
    if (mine <= each_ && mine + more <= all_ - std::min(all_, held)) return;
    throw numberedFailure(10055);
  }

 private:
  std::size_t each_ = std::numeric_limits<std::size_t>::max();
  std::size_t all_ = std::numeric_limits<std::size_t>::max();
};

}  // namespace quarnex
