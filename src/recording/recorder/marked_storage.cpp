#include "recording/recorder/marked_storage.h"

#include <cstddef>
#include <string>

#include "recording/format/line_writer.h"

namespace quarnex::recording {
namespace {

// What a full disk takes or refuses as a whole.
constexpr std::size_t kPieceBytes = std::size_t{64} << 10;

// About so much, up to the end of a line.
std::string_view firstLines(std::string_view lines) {
  const std::size_t end = lines.substr(0, kPieceBytes).rfind('\n');
  return lines.substr(0, (end == lines.npos ? lines.find('\n') : end) + 1);
}

std::string markOf(std::uint64_t bytes) {
  std::string mark;
  writeLine(mark, {.kind = LineKind::Missing, .text = std::to_string(bytes)});
  return mark;
}

}  // namespace

void MarkedStorage::write(const Backlog& backlog) {
  for (std::string_view rest = backlog.lines; !rest.empty();) {
    const std::string_view piece = firstLines(rest);
    writeOut(piece);
    rest.remove_prefix(piece.size());
  }
  notWritten_ += backlog.notKept;
  missing_ += backlog.notKept;
}

void MarkedStorage::finish() {
  if (notWritten_ > 0) writeOut("");
}

// A line that was taken in part would damage the whole, so all ends with the last whole piece; the mark
// stands there as long as more does not fit.
void MarkedStorage::writeOut(std::string_view lines) {
  const std::string mark = notWritten_ > 0 ? markOf(notWritten_) : "";
  if (storage_.writeAt(wholeBytes_, mark) && storage_.writeAt(wholeBytes_ + mark.size(), lines)) {
    wholeBytes_ += mark.size() + lines.size();
    notWritten_ = 0;
    return;
  }
  notWritten_ += lines.size();
  missing_ += lines.size();
  storage_.cutTo(wholeBytes_);
  if (!storage_.writeAt(wholeBytes_, markOf(notWritten_))) storage_.cutTo(wholeBytes_);
}

}  // namespace quarnex::recording
