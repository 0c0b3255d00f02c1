// Findings: what a simulation found wrong, first things first.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

namespace quarnex::simulation {

struct Finding {
  std::int64_t at = 0;  ///< milliseconds since the beginning of the simulation
  int host = 0;         ///< from 1; 0 = none in particular
  int link = 0;         ///< index in that host's table; 0 = none in particular
  std::string text;
};

/// Keeps the first finding: whatever goes wrong after it may be its consequence.
class Findings {
 public:
  void add(Finding finding) {
    if (!first_) first_ = std::move(finding);
  }
  const std::optional<Finding>& first() const { return first_; }

 private:
  std::optional<Finding> first_;
};

}  // namespace quarnex::simulation
