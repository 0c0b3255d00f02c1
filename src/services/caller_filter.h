// Decides for an adapter which callers reach a listening socket, and counts the others.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quarnex {

/// True for four numbers from 0 to 255 with dots between them and without leading zeros: "192.0.2.1".
bool isDottedAddress(std::string_view text);

/// Admits everybody until it has a list.
class CallerFilter {
 public:
  /// From now on only these dotted addresses are admitted; everybody if there are none.
  void allow(std::vector<std::string> callers) { allowed_ = std::move(callers); }
  /// Counts the caller if it is not admitted.
  bool admits(std::string_view dotted) {
    const bool admitted = allowed_.empty() || std::ranges::find(allowed_, dotted) != allowed_.end();
    refused_ += admitted ? 0 : 1;
    return admitted;
  }
  std::uint64_t refused() const { return refused_; }

 private:
  std::vector<std::string> allowed_;
  std::uint64_t refused_ = 0;
};

}  // namespace quarnex
