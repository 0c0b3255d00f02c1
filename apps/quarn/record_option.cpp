#include "quarn/record_option.h"

#include <iostream>
#include <string>

#include "quarnex/failure.h"
#include "quarnex/flight_recorder.h"

namespace quarnex::tool {

Argument recordOption(std::optional<std::string>& file) {
  return {.name = "--record",
          .placeholder = "FILE",
          .help = "record everything, for quarn replay; an existing FILE is emptied",
          .store = storeIn(file),
          .completion = Completion::Files};
}

bool beginRecording(const std::optional<std::string>& file) {
  if (!file) return true;
  try {
    recordFlight(*file);
    return true;
  } catch (const Failure& failure) {
    std::cerr << "quarn: no recording can be kept in \"" << *file << "\": " << failure.what() << " ("
              << failure.number() << "); give a file in a directory that exists and can be written\n";
    return false;
  }
}

std::string recordingFlaw() {
  const std::uint64_t bytes = flightBytesMissing();
  return bytes == 0 ? ""
                    : "the disk does not take the recording: " + std::to_string(bytes) + " bytes are missing";
}

}  // namespace quarnex::tool
