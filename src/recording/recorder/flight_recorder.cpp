// Puts a recorder between the process's library and its services.
#include "quarnex/flight_recorder.h"

#include <memory>
#include <utility>

#include "recording/recorder/file_sink.h"
#include "recording/recorder/quiet_lines.h"
#include "recording/recorder/recorder.h"
#include "services/background_writer.h"
#include "services/process_library.h"

namespace quarnex {
namespace {

class Flight;

// The process's recording, which its library keeps; nullptr before and after.
Flight*& processFlight() {
  static Flight* flight = nullptr;
  return flight;
}

class Flight final : public ServicesWrapper {
 public:
  explicit Flight(std::shared_ptr<recording::FileSink> sink) : sink_(std::move(sink)) {}
  // The host can no longer ask.
  ~Flight() override {
    processFlight() = nullptr;
    writer().flushPatiently();
    printLosses("recording", writer().losses(), toldBytes_);
  }
  Flight(const Flight&) = delete;
  Flight& operator=(const Flight&) = delete;

  Services wrap(const Services& services) override { return recorder_.wrap(services); }
  void watch(Library& library) override { recorder_.watch(library); }
  void end() override { writer().end(); }
  BackgroundWriter& writer() { return sink_->writer(); }
  FileLosses losses() {
    const WriteLosses losses = writer().losses();
    return {losses.bytes, losses.lines, losses.lastError};
  }
  FileLosses flush(std::chrono::milliseconds maxWait) {
    writer().flush(maxWait);
    toldBytes_ = losses().bytes;
    return losses();
  }

 private:
  std::shared_ptr<recording::FileSink> sink_;
  recording::ServicesRecorder recorder_{std::make_shared<recording::QuietLines>(sink_)};
  std::uint64_t toldBytes_ = 0;  // missing bytes that the host knows of
};

}  // namespace

void recordFlight(const std::filesystem::path& path, const RecordingSettings& settings) {
  wrapProcessServices([&] {
    auto sink = std::make_shared<recording::FileSink>(path, settings);
    auto flight = std::make_unique<Flight>(std::move(sink));
    processFlight() = flight.get();
    return flight;
  });
}

FileLosses flightLosses() {
  return processFlight() != nullptr ? processFlight()->losses() : FileLosses{};
}

FileLosses flushFlight(std::chrono::milliseconds maxWait) {
  return processFlight() != nullptr ? processFlight()->flush(maxWait) : FileLosses{};
}

}  // namespace quarnex
