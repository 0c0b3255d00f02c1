#include "recording/recorder/recorder.h"

namespace quarnex::recording {

Recorder::Recorder(const Services& services, LineSink& lines)
    : Interceptor(services),
      lines_(lines),
      now_(services.clock.now()),
      utcOffset_(services.clock.utcOffset(now_)) {
  lines_.begin(utcOffset_);
}

Instant Recorder::readClock() {
  if (!inStep()) return inner().clock.now();
  if (clockStretch_ != stretch_) {
    clockStretch_ = stretch_;
    const Instant now = inner().clock.now();
    if (now != now_) {
      now_ = now;
      lines_.take(NowLine{now_, newOffset()});
    }
  }
  return now_;
}

StepStart Recorder::beginStep() {
  ++depth_;
  ++stretch_;
  clockStretch_ = stretch_;
  now_ = inner().clock.now();
  return {now_, newOffset(), depth_ > 1};
}

std::optional<std::int32_t> Recorder::newOffset() {
  const std::int32_t offset = inner().clock.utcOffset(now_);
  if (offset == utcOffset_) return std::nullopt;
  utcOffset_ = offset;
  return offset;
}

// The engine fetches whenever bytes wait, so a replay infers waiting bytes from the fetch. Their number is
// therefore not recorded, and the engine only learns whether any wait.
std::int32_t RecordedSocket::bytesWaiting(const ServiceCall& call) {
  const auto ask = [&] { return anyWaiting_ = inner->bytesWaiting() >= 1 ? 1 : 0; };
  return recorder_.read(readings_[readingOf(Operation::BytesWaiting)], call, anyWaiting_, ask);
}

void RecordedSocket::fetch(const ServiceCall& call) {
  received_ = {};
  recorder_.perform(call, [&] { inner->fetch(); });
  const auto ask = [&] { return received_ = inner->receivedText(); };
  const ServiceCall read{Operation::ReceivedText, call.socket};
  try {
    const std::string_view bytes = recorder_.read(readings_[readingOf(read.operation)], read, received_, ask);
    if (recorder_.inStep()) recorder_.lines_.take(FetchedLine{bytes, call.socket});
  } catch (const Failure&) {
    // The engine gets this failure when it reads the text.
  }
}

}  // namespace quarnex::recording
