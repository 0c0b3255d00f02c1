// AuditJudge: what the audit of a simulation finds in one recorded engine.
#pragma once

#include <memory>
#include <utility>

#include "platform/simulated/virtual_time.h"
#include "recording/format/text_lines.h"
#include "recording/shrinker/checker.h"
#include "simulation/checks/auditor.h"

namespace quarnex::simulation {

/// Nothing is known of the peers, so every fault may be the excuse for what is forbidden otherwise.
class AuditJudge final : public recording::Judge {
 public:
  explicit AuditJudge(std::shared_ptr<recording::Sink> sink)
      : auditor_(audit_, 0, 0, std::make_shared<recording::TextLines>(std::move(sink))) {}

  Services wrap(const Services& services) override { return auditor_.wrap(services); }
  void watch(Library& library) override { auditor_.watch(library); }
  recording::Finding finding() override {
    const auto& first = audit_.findings.first();
    return first ? recording::Finding{first->text, static_cast<std::int16_t>(first->link)}
                 : recording::Finding{};
  }

 private:
  simulated::VirtualTime time_;
  Audit audit_{time_, false};
  Auditor auditor_;
};

}  // namespace quarnex::simulation
