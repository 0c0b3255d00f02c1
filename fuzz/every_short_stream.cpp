// Runs every stream of up to N bytes over eight byte values through the receiver and a plain implementation
// of the framing rules, and compares frames and remaining bytes. N is the argument; 8 takes some seconds in
// an optimized build.
#include <cstdlib>
#include <iostream>
#include <string>

#include "engine/exchange/receiving.h"
#include "engine/records/connection_record.h"

namespace {

const std::string kCodes{'\2', '\3', '|', '9', 'A', 'K', '\0', '\xff'};

/// The framing rules, one character at a time.
struct PlainReceiver {
  std::string rest, frame;
  bool inFrame = false;

  /// Reads up to the end of a frame; true if it completed one.
  bool cut() {
    for (std::size_t at = 0; at < rest.size(); ++at) {
      if (inFrame) {
        frame += rest[at];
      } else if (rest[at] == '\2') {
        frame.assign(1, rest[at]);
        inFrame = true;
      }
      if (rest[at] != '\3') continue;
      rest.erase(0, at + 1);
      const bool complete = inFrame;
      inFrame = false;
      return complete;
    }
    rest.clear();
    return false;
  }
};

bool agree(const std::string& stream) {
  quarnex::ConnectionRecord record;
  PlainReceiver plain;
  record.Ricevuto.append(stream);
  plain.rest = stream;
  while (!record.Ricevuto.empty()) {
    quarnex::cutFrame(record);
    const bool complete = plain.cut();
    if (record.FrameCompleto != complete || record.Ricevuto.size() != plain.rest.size()) return false;
    if (complete && record.FrameRicevuto != plain.frame) return false;
    record.FrameCompleto = false;
  }
  return plain.rest.empty() && record.InFrame == plain.inFrame &&
         (!plain.inFrame || record.FrameInCorso.text() == plain.frame);
}

}  // namespace

int main(int count, char** arguments) {
  const int given = count > 1 ? std::atoi(arguments[1]) : 8;
  if (given < 1 || given > 10) {
    std::cerr << "usage: every_short_stream [LENGTH]: tries all streams up to that length, 1 to 10\n";
    return 2;
  }
  const auto lengthMax = static_cast<std::size_t>(given);
  std::size_t streams = 0;
  for (std::size_t length = 1; length <= lengthMax; ++length) {
    const std::size_t all = std::size_t{1} << (3 * length);  // eight codes
    for (std::size_t number = 0; number < all; ++number, ++streams) {
      std::string stream;
      for (std::size_t place = 0; place < length; ++place) stream += kCodes[(number >> (3 * place)) & 7];
      if (agree(stream)) continue;
      std::cerr << "stream " << number << " of length " << length << " differs\n";
      return 1;
    }
  }
  std::cout << streams << " streams agree\n";
  return 0;
}
