// Puts a recorder between the process's library and its services.
#include "quarnex/flight_recorder.h"

#include <memory>
#include <utility>

#include "recording/recorder/file_sink.h"
#include "recording/recorder/recorder.h"
#include "services/process_library.h"

namespace quarnex {
namespace {

// The process's recording, which the wrapper of its library keeps.
std::weak_ptr<recording::FileSink>& processSink() {
  static std::weak_ptr<recording::FileSink> sink;
  return sink;
}

}  // namespace

void recordFlight(const std::filesystem::path& path) {
  wrapProcessServices([&] {
    auto sink = std::make_shared<recording::FileSink>(path);
    processSink() = sink;
    return std::make_unique<recording::ServicesRecorder>(std::move(sink));
  });
}

std::uint64_t flightBytesMissing() {
  const auto sink = processSink().lock();
  return sink ? sink->missing() : 0;
}

}  // namespace quarnex
