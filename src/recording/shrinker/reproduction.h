// Rerun: steps of a recording, fed to a fresh engine and recorded anew.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "recording/format/plain_model.h"
#include "recording/format/step_reader.h"
#include "recording/player/played_engine.h"
#include "recording/shrinker/checker.h"
#include "recording/shrinker/loose_course.h"

namespace quarnex::recording {

class Rerun {
 public:
  /// Of a recording that begins with this offset of local time.
  Rerun(std::int32_t utcOffset, const MakeJudge& makeJudge);

  /// Feeds one step. Returns the lines that were recorded, good until the next one.
  const std::string& play(const Step& step);

  /// The first line of the new recording.
  const std::string& header() const { return header_; }
  Finding finding() { return judge_->finding(); }
  Library& library() { return engine_.library(); }
  PlainModel& model() { return model_; }

 private:
  class LastLines;

  PlainModel model_;
  LooseCourse course_;
  std::shared_ptr<LastLines> recorded_;
  std::unique_ptr<Judge> judge_;
  PlayedEngine engine_;
  std::string header_;
};

}  // namespace quarnex::recording
