// Puts a recorder between the process's library and its services.
#include "quarnex/flight_recorder.h"

#include <memory>

#include "platform/process_library.h"
#include "recording/file_sink.h"
#include "recording/services_recorder.h"

namespace quarnex {

void recordFlight(const std::filesystem::path& path) {
  wrapProcessServices([&] {
    return std::make_unique<recording::ServicesRecorder>(std::make_shared<recording::FileSink>(path));
  });
}

}  // namespace quarnex
