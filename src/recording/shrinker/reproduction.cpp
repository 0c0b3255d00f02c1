#include "recording/shrinker/reproduction.h"

namespace quarnex::recording {

/// Keeps what was written since it was last emptied.
class Rerun::LastLines final : public Sink {
 public:
  void write(std::string_view lines) override { text += lines; }
  std::string text;
};

Rerun::Rerun(std::int32_t utcOffset, const MakeJudge& makeJudge)
    : model_(utcOffset),
      course_(model_, [this](const Line& step) { engine_.deliver(step); }),
      recorded_(std::make_shared<LastLines>()),
      judge_(makeJudge(recorded_)),
      engine_(course_, model_, judge_.get()),
      header_(recorded_->text) {}

const std::string& Rerun::play(const Step& step) {
  recorded_->text.clear();
  course_.play(*step.lines, step.shift);
  return recorded_->text;
}

}  // namespace quarnex::recording
