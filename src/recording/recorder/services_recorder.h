// Wraps services with a recorder that writes to a sink.
#pragma once

#include <memory>
#include <utility>

#include "recording/format/line_writer.h"
#include "recording/format/sink.h"
#include "recording/recorder/recorder.h"
#include "services/services_wrapper.h"

namespace quarnex::recording {

class ServicesRecorder final : public ServicesWrapper {
 public:
  explicit ServicesRecorder(std::shared_ptr<Sink> sink)
      : lines_(std::make_shared<LineWriter>(std::move(sink))) {}
  explicit ServicesRecorder(std::shared_ptr<LineSink> lines) : lines_(std::move(lines)) {}

  Services wrap(const Services& services) override {
    recorder_ = std::make_unique<Recorder>(services, *lines_);
    return recorder_->services();
  }
  void watch(Library& library) override { recorder_->watch(library); }

 private:
  std::shared_ptr<LineSink> lines_;
  std::unique_ptr<Recorder> recorder_;
};

}  // namespace quarnex::recording
