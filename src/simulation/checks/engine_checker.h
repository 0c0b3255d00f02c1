// Reports the first finding of a simulation's audit in one recorded engine.
#pragma once

#include <memory>
#include <optional>
#include <utility>

#include "platform/simulated/virtual_time.h"
#include "recording/format/line_writer.h"
#include "recording/shrinker/checker.h"
#include "simulation/checks/engine_watch.h"

namespace quarnex::simulation {
using namespace simulated;

/// The peers are unknown, so any fault of theirs may excuse what is forbidden otherwise.
class AuditChecker final : public recording::Checker {
 public:
  explicit AuditChecker(std::shared_ptr<recording::Sink> sink)
      : auditor_(audit_, 0, 0, std::make_shared<recording::LineWriter>(std::move(sink))) {}

  Services wrap(const Services& services) override { return auditor_.wrap(services); }
  void watch(Library& library) override { auditor_.watch(library); }
  std::optional<Finding> finding() override { return audit_.findings.first(); }

 private:
  VirtualTime time_;
  Audit audit_{time_, false};
  Auditor auditor_;
};

}  // namespace quarnex::simulation
