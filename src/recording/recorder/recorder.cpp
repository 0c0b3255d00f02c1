#include "recording/recorder/recorder.h"

namespace quarnex::recording {

RecordingWriter::RecordingWriter(WallClock& clock, LineSink& lines)
    : clock_(clock), lines_(lines), now_(clock.now()), utcOffset_(clock.utcOffset(now_)) {
  lines_.begin(utcOffset_);
}

void RecordingWriter::called(const Method& method, std::span<const Value> parameters) {
  lines_.take(CallLine{beginStep(), &method, parameters});
}

void RecordingWriter::returned(const Value& result) {
  lines_.take(ResultLine{&result});
  endStep();
}

void RecordingWriter::failed(const Failure& failure) {
  lines_.take(FailureLine{failure.number(), failure.what()});
  endStep();
}

void RecordingWriter::beginTick() {
  lines_.take(TickLine{beginStep()});
}

// The caller's address is not known yet: a read after the attach gets a line of its own.
void RecordingWriter::beginEvent(const SocketEvent& event) {
  lines_.take(EventLine{beginStep(), event.kind, event.socket, event.code, event.handle});
}

void RecordingWriter::end() {
  if (depth_ > 1) lines_.take(EndLine{});
  endStep();
}

void RecordingWriter::traced(std::int16_t IdxQuarn, std::string_view text) {
  if (inStep()) output(TraceLine{IdxQuarn, text});
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

void RecordingWriter::endStep() {
  --depth_;
  ++stretch_;
  if (depth_ == 0) lines_.pause();
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
