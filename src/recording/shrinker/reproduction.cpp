#include "recording/shrinker/reproduction.h"

namespace quarnex::recording {

/// Keeps the lines written since it was last cleared.
class Reproduction::LastLines final : public Sink {
 public:
  void write(std::string_view lines) override { text += lines; }
  std::string text;
};

Reproduction::Reproduction(std::int32_t utcOffset, const MakeChecker& makeChecker)
    : model_(utcOffset),
      course_(model_, [this](const Line& step) { engine_.deliver(step); }),
      recorded_(std::make_shared<LastLines>()),
      checker_(makeChecker(recorded_)),
      engine_(course_, model_, checker_.get()),
      header_(recorded_->text) {}

const std::string& Reproduction::replay(const Step& step) {
  recorded_->text.clear();
  course_.replay(step);
  return recorded_->text;
}

}  // namespace quarnex::recording
