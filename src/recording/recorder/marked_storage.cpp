#include "recording/recorder/marked_storage.h"

#include <cstddef>
#include <string>

#include "recording/format/line_writer.h"

namespace quarnex::recording {
namespace {

// Written at once: a full disk takes or refuses a piece as a whole.
constexpr std::size_t kPieceBytes = std::size_t{64} << 10;

// As many whole lines as fit into kPieceBytes, at least one.
std::string_view firstLines(std::string_view lines) {
  const std::size_t end = lines.substr(0, kPieceBytes).rfind('\n');
  return lines.substr(0, (end == lines.npos ? lines.find('\n') : end) + 1);
}

std::string markOf(std::uint64_t bytes) {
  std::string mark;
  writeLine(mark, MissingLine{static_cast<std::int64_t>(bytes)});
  return mark;
}

}  // namespace

void MarkedStorage::write(const Backlog& backlog) {
  for (std::string_view rest = backlog.lines; !rest.empty();) {
    const std::string_view piece = firstLines(rest);
    writeOut(piece);
    rest.remove_prefix(piece.size());
  }
  notWritten_ += backlog.dropped;
  missing_ += backlog.dropped;
}

void MarkedStorage::finish() {
  if (notWritten_ > 0) writeOut("");
}

// A partly written line would damage the recording, so the storage is cut behind the last complete piece. The
// mark stays there until lines fit again.
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
