#include "recording/format/text_lines.h"

#include <cstddef>

#include "recording/format/line_writer.h"

namespace quarnex::recording {
namespace {
constexpr std::size_t kPassedOnBytes = std::size_t{64} << 10;
constexpr std::size_t kKeptBytes = 4 * kPassedOnBytes;  // of memory, between two steps
}  // namespace

void TextLines::begin(std::int32_t utcOffset) {
  writeHeader(lines_, utcOffset);
  pause();
}

// A tick of many busy links is long.
void TextLines::take(const LineParts& line) {
  writeLine(lines_, line);
  if (lines_.size() > kPassedOnBytes) pause();
}

void TextLines::pause() {
  sink_->write(lines_);
  lines_.clear();
  if (lines_.capacity() > kKeptBytes) lines_.shrink_to_fit();
}

}  // namespace quarnex::recording
