// Writes and reads the protocol as a peer does. Shares nothing with the engine.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace quarnex::simulation::wire {

/// A message: "000", the identifier with at least three digits, the count character, then each field and a
/// "|".
std::string message(int identifier, const std::vector<std::string>& fields);

/// The frame of a message: STX, "9999", the message, two checksum characters, ETX.
std::string frame(std::string_view message);

/// Two characters: 64 plus the high, 64 plus the low half of the exclusive-or of all bytes.
std::string checksum(std::string_view bytes);

struct Frame {
  std::string bytes;    ///< from STX to ETX
  std::string message;  ///< without the four characters of the header; "" if the frame is too short for one
  bool intact = false;  ///< long enough, with a fitting checksum
};

/// Cuts received bytes into frames, however they are fragmented.
class Splitter {
 public:
  /// The frames that `bytes` complete. Bytes outside a frame are dropped.
  std::vector<Frame> feed(std::string_view bytes);

 private:
  std::string current_;  // the incomplete frame; "" between frames
};

}  // namespace quarnex::simulation::wire
