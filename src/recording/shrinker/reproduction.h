// Replays steps of a recording to a fresh engine and records what that engine does.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "recording/format/service_model.h"
#include "recording/format/step_reader.h"
#include "recording/player/replayed_engine.h"
#include "recording/shrinker/checker.h"
#include "recording/shrinker/lenient_replay.h"

namespace quarnex::recording {

class Reproduction {
 public:
  /// The recording begins with this offset of local time, in seconds.
  Reproduction(std::int32_t utcOffset, const MakeChecker& makeChecker)
      : model_(utcOffset),
        replay_(model_, [this](const Line& step) { engine_.deliver(step); }),
        checker_(makeChecker(recorded_)),
        engine_(replay_, model_, checker_.get()),
        header_(recorded_->text()) {}

  /// Replays one step. Returns the lines recorded during it, valid until the next call.
  const std::string& replay(const RecordedStep& step) {
    recorded_->clear();
    replay_.replay(step);
    return recorded_->text();
  }

  /// The first line of the new recording.
  const std::string& header() const { return header_; }
  std::optional<Finding> finding() { return checker_->finding(); }
  Library& library() { return engine_.library(); }
  ServiceModel& model() { return model_; }

 private:
  ServiceModel model_;
  LenientReplay replay_;
  std::shared_ptr<MemorySink> recorded_ = std::make_shared<MemorySink>();
  std::unique_ptr<Checker> checker_;
  ReplayedEngine engine_;
  std::string header_;
};

}  // namespace quarnex::recording
