// A recorder as a wrapper of services, with the sink that it writes to.
#pragma once

#include <memory>
#include <utility>

#include "component/services_wrapper.h"
#include "recording/recorder.h"
#include "recording/sink.h"

namespace quarnex::recording {

class ServicesRecorder final : public ServicesWrapper {
 public:
  explicit ServicesRecorder(std::shared_ptr<Sink> sink) : sink_(std::move(sink)) {}

  Services wrap(const Services& services) override {
    recorder_ = std::make_unique<Recorder>(services, *sink_);
    return recorder_->services();
  }
  void watch(Library& library) override { recorder_->watch(library); }

 private:
  std::shared_ptr<Sink> sink_;
  std::unique_ptr<Recorder> recorder_;
};

}  // namespace quarnex::recording
