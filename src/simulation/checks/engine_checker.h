// EngineChecker: records a replayed engine and reports the first rule of a simulation that it breaks.
#pragma once

#include <memory>
#include <optional>
#include <utility>

#include "recording/format/line_writer.h"
#include "recording/shrinker/checker.h"
#include "simulation/checks/engine_watch.h"

namespace quarnex::simulation {

/// The peers are unknown, so any fault of theirs may excuse what is forbidden otherwise.
class EngineChecker final : public recording::Checker {
 public:
  explicit EngineChecker(std::shared_ptr<recording::Sink> sink)
      : watch_(site_, first_, 0, 0, std::make_shared<recording::LineWriter>(std::move(sink))) {}

  Services wrap(const Services& services) override { return watch_.wrap(services); }
  void watch(Library& library) override { watch_.watch(library); }
  std::optional<recording::Finding> finding() override { return first_; }

 private:
  VirtualTime time_;
  SiteObservations site_{.time = time_, .peersKnown = false};
  std::optional<recording::Finding> first_;
  EngineWatch watch_;
};

}  // namespace quarnex::simulation
