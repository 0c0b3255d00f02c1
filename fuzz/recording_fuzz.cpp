// Fuzzes the reading and the replay of recordings.
#include <cstdint>
#include <sstream>
#include <string>

#include "recording/player/player.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::istringstream file(std::string(reinterpret_cast<const char*>(data), size));
  try {
    quarnex::recording::RecordingReader reader(file);
    quarnex::recording::replay(reader);
  } catch (const quarnex::recording::DamagedLine&) {
    // the first line
  }
  return 0;
}
