#include "quarn/streams.h"

namespace quarnex::tool {

std::optional<InputLine> LineReader::next() {
  const std::size_t end = buffer_.find('\n', scanned_);
  if (end != std::string::npos) return cut(end, end + 1);
  scanned_ = buffer_.size();
  if (ended_ && (start_ < buffer_.size() || overlong_)) return cut(buffer_.size(), buffer_.size());
  overlong_ = overlong_ || buffer_.size() - start_ > lineBytesMax_;
  if (overlong_) start_ = buffer_.size();
  return std::nullopt;
}

InputLine LineReader::cut(std::size_t end, std::size_t nextStart) {
  const bool tooLong = overlong_ || end - start_ > lineBytesMax_;
  InputLine line{++lines_, tooLong ? std::string() : buffer_.substr(start_, end - start_), tooLong};
  start_ = scanned_ = nextStart;
  overlong_ = false;
  return line;
}

}  // namespace quarnex::tool
