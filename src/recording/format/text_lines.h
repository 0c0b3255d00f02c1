// TextLines: lines of a recording written out, step by step, into a sink.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "recording/format/lines.h"
#include "recording/format/sink.h"

namespace quarnex::recording {

class TextLines final : public Lines {
 public:
  explicit TextLines(std::shared_ptr<Sink> sink) : sink_(std::move(sink)) {}

  void begin(std::int32_t utcOffset) override;
  void take(const LineParts& line) override;
  void pause() override;

  const Sink& sink() const { return *sink_; }

 private:
  std::shared_ptr<Sink> sink_;
  std::string lines_;  // of the step under way
};

}  // namespace quarnex::recording
