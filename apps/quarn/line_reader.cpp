#include "quarn/line_reader.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace quarnex::tool {

void LineReader::readSome() {
  constexpr std::size_t kReadBytesMax = std::size_t{64} * 1024;
  buffer_.erase(0, start_);
  scanned_ -= start_;
  start_ = 0;
  const std::size_t held = buffer_.size();
  buffer_.resize(held + kReadBytesMax);
  const ssize_t got = read(descriptor_, buffer_.data() + held, kReadBytesMax);
  const int failure = errno;
  buffer_.resize(held + (got > 0 ? static_cast<std::size_t>(got) : 0));
  if (got > 0 || (got < 0 && (failure == EINTR || failure == EAGAIN))) return;
  ended_ = true;
  if (got < 0) error_ = std::strerror(failure);
}

std::optional<Line> LineReader::next() {
  const std::size_t end = buffer_.find('\n', scanned_);
  if (end != std::string::npos) return cut(end, end + 1);
  scanned_ = buffer_.size();
  if (ended_ && (start_ < buffer_.size() || overlong_)) return cut(buffer_.size(), buffer_.size());
  if (buffer_.size() - start_ > lineBytesMax_) dropOverlongLine();
  return std::nullopt;
}

Line LineReader::cut(std::size_t end, std::size_t nextStart) {
  Line line{++lines_, overlong_ ? std::string() : buffer_.substr(start_, end - start_), overlong_};
  start_ = scanned_ = nextStart;
  overlong_ = false;
  return line;
}

void LineReader::dropOverlongLine() {
  overlong_ = true;
  start_ = buffer_.size();
}

}  // namespace quarnex::tool
