// The protocol on the wire as an outsider writes and reads it: nothing here is shared with the engine.
#pragma once

#include <cstddef>
#include <cstdint>
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

/// The fields of a message: what stands between its first "|" and each next one.
std::vector<std::string> fieldsOf(std::string_view message);

/// A frame as it was found.
struct Frame {
  std::string bytes;    ///< from STX to ETX
  std::string message;  ///< without the four characters of the header; "" if the frame is too short for one
  bool intact = false;  ///< long enough, and its checksum is right
};

/// Cuts received bytes into frames, in whatever pieces they come.
class Splitter {
 public:
  /// The frames that `bytes` complete.
  std::vector<Frame> feed(std::string_view bytes);
  /// Bytes seen that belong to no frame.
  std::uint64_t strayBytes() const { return strayBytes_; }

 private:
  std::string current_;  // the frame under way, "" between frames
  std::uint64_t strayBytes_ = 0;
};

}  // namespace quarnex::simulation::wire
