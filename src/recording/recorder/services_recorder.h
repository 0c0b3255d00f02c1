// A recorder as a wrapper of services, with what its lines go to.
#pragma once

#include <memory>
#include <utility>

#include "recording/format/sink.h"
#include "recording/format/text_lines.h"
#include "recording/recorder/recorder.h"
#include "services/services_wrapper.h"

namespace quarnex::recording {

class ServicesRecorder final : public ServicesWrapper {
 public:
  explicit ServicesRecorder(std::shared_ptr<Sink> sink)
      : lines_(std::make_shared<TextLines>(std::move(sink))) {}
  explicit ServicesRecorder(std::shared_ptr<Lines> lines) : lines_(std::move(lines)) {}

  Services wrap(const Services& services) override {
    recorder_ = std::make_unique<Recorder>(services, *lines_);
    return recorder_->services();
  }
  void watch(Library& library) override { recorder_->watch(library); }

 private:
  std::shared_ptr<Lines> lines_;
  std::unique_ptr<Recorder> recorder_;
};

}  // namespace quarnex::recording
