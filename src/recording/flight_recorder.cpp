// Puts a recorder between the process's library and its services.
#include "quarnex/flight_recorder.h"

#include <memory>

#include "platform/process_library.h"
#include "recording/file_sink.h"
#include "recording/recorder.h"

namespace quarnex {
namespace {

class FlightRecorder final : public ServicesWrapper {
 public:
  FlightRecorder(const std::filesystem::path& path) : sink_(path) {}

  Services wrap(const Services& services) override {
    recorder_ = std::make_unique<recording::Recorder>(services, sink_);
    return recorder_->services();
  }
  void watch(Library& library) override { recorder_->watch(library); }

 private:
  recording::FileSink sink_;
  std::unique_ptr<recording::Recorder> recorder_;
};

}  // namespace

void recordFlight(const std::filesystem::path& path) {
  wrapProcessServices([&] { return std::make_unique<FlightRecorder>(path); });
}

}  // namespace quarnex
