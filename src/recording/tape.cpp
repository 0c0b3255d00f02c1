#include "recording/tape.h"

namespace quarnex::recording {
namespace {
constexpr std::size_t kPassedOnBytes = std::size_t{64} << 10;
constexpr std::size_t kKeptBytes = 4 * kPassedOnBytes;  // of memory, between two steps
}  // namespace

Tape::Tape(WallClock& clock, Sink& sink)
    : clock_(clock), sink_(sink), now_(clock.now()), utcOffset_(clock.utcOffset(now_)) {
  writeHeader(lines_, utcOffset_);
  passOn();
}

void Tape::beginCall(const Method& method, std::span<const Value> parameters) {
  writeCall(lines_, beginStep(), method, parameters);
}

void Tape::endCall(const Value& result) {
  writeResult(lines_, result);
  endStep();
}

void Tape::endCall(const Failure& failure) {
  writeFailure(lines_, failure);
  endStep();
}

void Tape::beginTick() {
  writeTick(lines_, beginStep());
}

void Tape::beginEvent(EventKind event, SocketId socket, std::int16_t code, std::int32_t handle) {
  // The caller's address is not known yet: whoever reads it after the attach gets a line of its own.
  writeEvent(lines_, beginStep(), event, socket, code, handle);
}

void Tape::end() {
  if (depth_ > 1) writeEnd(lines_);
  endStep();
}

void Tape::trace(std::int16_t link, std::string_view text) {
  if (!inStep()) return;
  writeTrace(lines_, link, text);
  nextStretch();
}

Instant Tape::now() {
  if (!inStep()) return clock_.now();
  if (clockStretch_ != stretch_) {
    clockStretch_ = stretch_;
    const Instant now = clock_.now();
    if (now != now_) {
      now_ = now;
      writeNow(lines_, now_, newOffset());
    }
  }
  return now_;
}

std::int32_t Tape::utcOffset(Instant instant) {
  return inStep() ? utcOffset_ : clock_.utcOffset(instant);
}

StepHead Tape::beginStep() {
  ++depth_;
  ++stretch_;
  clockStretch_ = stretch_;
  now_ = clock_.now();
  return {now_, newOffset(), depth_ > 1};
}

void Tape::endStep() {
  --depth_;
  nextStretch();
  if (depth_ == 0) passOn();
}

// A tick of many busy links is long.
void Tape::nextStretch() {
  ++stretch_;
  if (lines_.size() > kPassedOnBytes) passOn();
}

std::optional<std::int32_t> Tape::newOffset() {
  const std::int32_t offset = clock_.utcOffset(now_);
  if (offset == utcOffset_) return std::nullopt;
  utcOffset_ = offset;
  return offset;
}

void Tape::passOn() {
  sink_.write(lines_);
  lines_.clear();
  if (lines_.capacity() > kKeptBytes) lines_.shrink_to_fit();
}

}  // namespace quarnex::recording
