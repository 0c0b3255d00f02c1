#include "recording/format/recording_reader.h"

#include <cstring>

namespace quarnex::recording {
namespace {

constexpr std::size_t kBlock = std::size_t{64} << 10;
constexpr std::size_t kLineMax = std::size_t{64} << 20;

}  // namespace

DamagedLine damageOf(const MissingLine& missing, std::size_t number) {
  return {number, std::to_string(missing.bytes) +
                      " bytes could not be recorded here; nothing behind it can be replayed"};
}

RecordingReader::RecordingReader(std::istream& in) : in_(in) {
  try {
    readHeader();
  } catch (const LineError& damage) {
    throw DamagedLine(1, damage.what());
  }
}

void RecordingReader::readHeader() {
  if (!nextText()) throw LineError("is missing: the file is empty");
  utcOffset_ = parser_.parseHeader(text_);
}

bool RecordingReader::next(Line& line) {
  try {
    if (!nextText()) return false;
    line = parser_.parse(text_);
    return true;
  } catch (const LineError& damage) {
    throw DamagedLine(number_, damage.what());
  }
}

bool RecordingReader::nextText() {
  ++number_;
  for (std::size_t scanned = begin_;;) {
    const void* lineEnd = std::memchr(buffer_.data() + scanned, '\n', end_ - scanned);
    if (lineEnd != nullptr) {
      const auto length =
          static_cast<std::size_t>(static_cast<const char*>(lineEnd) - buffer_.data()) - begin_;
      text_ = std::string_view(buffer_).substr(begin_, length);
      begin_ += length + 1;
      return true;
    }
    const std::size_t pending = end_ - begin_;
    if (pending > kLineMax) throw LineError("is longer than 64 MiB");
    if (!refill()) {
      if (pending > 0) throw LineError("does not end with a line feed, as if the file had been cut off here");
      --number_;
      return false;
    }
    scanned = begin_ + pending;
  }
}

// Moves the rest to the front and reads one block behind it; false at the end of the file.
bool RecordingReader::refill() {
  const std::size_t pending = end_ - begin_;
  std::memmove(buffer_.data(), buffer_.data() + begin_, pending);
  begin_ = 0;
  end_ = pending;
  if (buffer_.size() < end_ + kBlock) buffer_.resize(2 * end_ + kBlock);
  in_.read(buffer_.data() + end_, static_cast<std::streamsize>(buffer_.size() - end_));
  if (in_.bad()) throw LineError("cannot be read: the system reports an error");
  end_ += static_cast<std::size_t>(in_.gcount());
  return end_ > pending;
}

}  // namespace quarnex::recording
