#include "recording/recorder/recorder.h"

namespace quarnex::recording {

RecordingWriter::RecordingWriter(WallClock& clock, LineSink& lines)
    : clock_(clock), lines_(lines), now_(clock.now()), utcOffset_(clock.utcOffset(now_)) {
  lines_.begin(utcOffset_);
}

Instant RecordingWriter::now() {
  if (!inStep()) return clock_.now();
  if (clockStretch_ != stretch_) {
    clockStretch_ = stretch_;
    const Instant now = clock_.now();
    if (now != now_) {
      now_ = now;
      lines_.take(NowLine{now_, newOffset()});
    }
  }
  return now_;
}

StepStart RecordingWriter::beginStep() {
  ++depth_;
  ++stretch_;
  clockStretch_ = stretch_;
  now_ = clock_.now();
  return {now_, newOffset(), depth_ > 1};
}

std::optional<std::int32_t> RecordingWriter::newOffset() {
  const std::int32_t offset = clock_.utcOffset(now_);
  if (offset == utcOffset_) return std::nullopt;
  utcOffset_ = offset;
  return offset;
}

// The engine fetches whenever bytes wait, so a replay infers waiting bytes from the fetch. Their number is
// therefore not recorded, and the engine only learns whether any wait.
std::int32_t RecordedSocket::bytesWaiting(const ServiceCall& call) {
  const auto ask = [&] { return anyWaiting_ = inner->bytesWaiting() >= 1 ? 1 : 0; };
  return writer_.read(readings_[readingOf(Operation::BytesWaiting)], call, anyWaiting_, ask);
}

void RecordedSocket::fetch(const ServiceCall& call) {
  received_ = {};
  writer_.perform(call, [&] { inner->fetch(); });
  const auto ask = [&] { return received_ = inner->receivedText(); };
  const ServiceCall read{Operation::ReceivedText, call.socket};
  try {
    writer_.fetched(call.socket, writer_.read(readings_[readingOf(read.operation)], read, received_, ask));
  } catch (const Failure&) {
    // The engine gets this failure when it reads the text.
  }
}

}  // namespace quarnex::recording
