// Keeps the first violation that the checks of a simulation find.
#pragma once

#include <optional>
#include <utility>

#include "recording/shrinker/checker.h"

namespace quarnex::simulation {

using recording::Finding;

/// Later findings are dropped: they may be consequences of the first.
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
