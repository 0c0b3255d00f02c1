#include "recording/recorder/tape.h"

namespace quarnex::recording {

Tape::Tape(WallClock& clock, Lines& lines)
    : clock_(clock), lines_(lines), now_(clock.now()), utcOffset_(clock.utcOffset(now_)) {
  lines_.begin(utcOffset_);
}

void Tape::beginCall(const Method& method, std::span<const Value> parameters) {
  LineParts line = stepOf(LineKind::Call);
  line.method = &method;
  line.values = parameters;
  lines_.take(line);
}

void Tape::endCall(const Value& result) {
  lines_.take({.kind = LineKind::Result, .values = {&result, 1}});
  endStep();
}

void Tape::endCall(const Failure& failure) {
  lines_.take({.kind = LineKind::Failure, .number = failure.number(), .text = failure.what()});
  endStep();
}

void Tape::beginTick() {
  lines_.take(stepOf(LineKind::Tick));
}

void Tape::beginEvent(EventKind event, SocketId socket, std::int16_t code, std::int32_t handle) {
  // The caller's address is not known yet: whoever reads it after the attach gets a line of its own.
  LineParts line = stepOf(LineKind::Event);
  line.event = event;
  line.socket = socket;
  line.number = code;
  line.handle = handle;
  lines_.take(line);
}

void Tape::end() {
  if (depth_ > 1) lines_.take({.kind = LineKind::End});
  endStep();
}

void Tape::trace(std::int16_t link, std::string_view text) {
  if (inStep()) output({.kind = LineKind::Trace, .number = link, .text = text});
}

Instant Tape::now() {
  if (!inStep()) return clock_.now();
  if (clockStretch_ != stretch_) {
    clockStretch_ = stretch_;
    const Instant now = clock_.now();
    if (now != now_) {
      now_ = now;
      lines_.take({.kind = LineKind::Now, .at = now_, .utcOffset = newOffset()});
    }
  }
  return now_;
}

std::int32_t Tape::utcOffset(Instant instant) {
  return inStep() ? utcOffset_ : clock_.utcOffset(instant);
}

LineParts Tape::stepOf(LineKind kind) {
  ++depth_;
  ++stretch_;
  clockStretch_ = stretch_;
  now_ = clock_.now();
  return {.kind = kind, .nested = depth_ > 1, .at = now_, .utcOffset = newOffset()};
}

void Tape::endStep() {
  --depth_;
  ++stretch_;
  if (depth_ == 0) lines_.pause();
}

void Tape::differs(Operation property, SocketId socket, std::int32_t value) {
  lines_.take({.kind = LineKind::Property, .operation = property, .socket = socket, .number = value});
}

void Tape::differs(Operation property, SocketId socket, std::string_view value) {
  lines_.take({.kind = LineKind::Property, .operation = property, .socket = socket, .text = value});
}

std::optional<std::int32_t> Tape::newOffset() {
  const std::int32_t offset = clock_.utcOffset(now_);
  if (offset == utcOffset_) return std::nullopt;
  utcOffset_ = offset;
  return offset;
}

}  // namespace quarnex::recording
