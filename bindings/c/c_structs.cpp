#include "c/c_structs.h"

#include <array>
#include <limits>
#include <type_traits>

namespace quarnex::c {
namespace {

template <class Enumeration>
constexpr std::int32_t number(Enumeration value) {
  static_assert(std::is_enum_v<Enumeration>);
  return static_cast<std::int32_t>(value);
}

// The last enumerators show that none is missing between them and 0; those between have the same order.
static_assert(number(Outcome::Dropped) == QUARNEX_OUTCOME_DROPPED &&
              number(Outcome::Unknown) == QUARNEX_OUTCOME_UNKNOWN);
static_assert(number(ReceiptCause::QueueFull) == QUARNEX_CAUSE_QUEUE_FULL &&
              number(ReceiptCause::NoPeer) == QUARNEX_CAUSE_NO_PEER && kReceiptCauseCount <= QUARNEX_CAUSES);
static_assert(number(Refusal::Draining) == QUARNEX_REFUSAL_DRAINING &&
              number(Refusal::Text) == QUARNEX_REFUSAL_TEXT);
static_assert(number(LinkPhase::Waiting) == QUARNEX_PHASE_WAITING &&
              number(LinkPhase::Connected) == QUARNEX_PHASE_CONNECTED);
static_assert(number(FailureKind::ConnectTimeout) == QUARNEX_FAILURE_CONNECT_TIMEOUT &&
              number(FailureKind::FrameTooLong) == QUARNEX_FAILURE_FRAME_TOO_LONG);
static_assert(number(EventType::Closing) == QUARNEX_EVENT_CLOSING &&
              number(EventType::Lost) == QUARNEX_EVENT_LOST);
static_assert(number(TextRule::Separator) == QUARNEX_RULE_SEPARATOR &&
              number(TextRule::LooksLikeReport) == QUARNEX_RULE_LOOKS_LIKE_REPORT);

void copy(std::uint64_t (&into)[QUARNEX_CAUSES],
          const std::array<std::uint64_t, kReceiptCauseCount>& counts) {
  std::fill(std::copy(counts.begin(), counts.end(), into), std::end(into), 0);
}

std::int64_t timeOf(const std::optional<std::int64_t>& time) {
  return time.value_or(0);
}

quarnex_link_failure reasonOf(const std::optional<LinkFailure>& failure) {
  return failure ? converted(*failure) : quarnex_link_failure{};
}

// A later version may give the member a meaning.
void requireUnused(std::int32_t reserved) {
  if (reserved != 0) refuse(kUnknownMember);
}

std::size_t bytesOr(std::uint64_t bytes, std::size_t otherwise) {
  if (bytes > std::numeric_limits<std::size_t>::max()) throw Failure(6, "Overflow");
  return bytes > 0 ? static_cast<std::size_t>(bytes) : otherwise;
}

}  // namespace

quarnex_receipt converted(const Receipt& receipt) {
  return {receipt.from,          receipt.to,     number(receipt.outcome),
          number(receipt.cause), receipt.frames, receipt.connection};
}

quarnex_pending_texts converted(const PendingTexts& texts) {
  return {texts.from, texts.to, texts.inFrame, 0};
}

quarnex_link_failure converted(const LinkFailure& failure) {
  return {number(failure.kind), failure.number, number(failure.phase), 0, failure.at, view(failure.text)};
}

void convert(const LinkSnapshot& from, quarnex_link_snapshot& to) {
  to.index = from.index;
  to.identifier = from.identifier;
  to.client = from.client;
  to.tcp = from.tcp;
  to.phase = number(from.phase);
  to.sub_state = from.subState;
  to.closing = from.closing;
  to.port = from.port;
  to.message_received = from.messageReceived;
  to.overdue = from.overdue;
  to.outbound = from.outbound;
  to.inbound = from.inbound;
  to.captured = from.captured;
  to.batch_in_flight = from.batchInFlight;
  to.reported_down = from.reportedDown;
  to.failures = from.failures;
  to.has_last_failure = from.lastFailure.has_value();
  to.type = view(from.type);
  to.endpoint = view(from.endpoint);
  to.last_error = view(from.lastError);
  to.why = view(from.why);
  to.since = from.since;
  to.deadline = timeOf(from.deadline);
  to.keep_alive_deadline = timeOf(from.keepAliveDeadline);
  to.reply_deadline = timeOf(from.replyDeadline);
  to.last_heard = timeOf(from.lastHeard);
  to.last_sent = timeOf(from.lastSent);
  to.last_acknowledged = timeOf(from.lastAcknowledged);
  to.limit_since = timeOf(from.limitSince);
  to.last_failure = reasonOf(from.lastFailure);
  to.texts_sent = from.textsSent;
  to.texts_received = from.textsReceived;
  to.acknowledged = from.outcomes.acknowledged;
  copy(to.dropped, from.outcomes.dropped);
  copy(to.unknown, from.outcomes.unknown);
  to.undecided = from.undecided;
  to.received_dropped = from.receivedDropped;
  to.frames_sent = from.framesSent;
  to.frames_received = from.framesReceived;
  to.repetitions = from.repetitions;
  to.bad_checksums = from.badChecksums;
  to.reconnections = from.reconnections;
  to.bytes_held = from.bytesHeld;
  to.bytes_unsent = from.bytesUnsent;
  to.callers_refused = from.callersRefused;
}

void convert(const LinkOutage& from, quarnex_link_outage& to) {
  to.number = from.number;
  to.attempts = from.attempts;
  to.reserved = 0;
  to.start = from.start;
  to.end = timeOf(from.end);
  to.reason = converted(from.reason);
  copy(to.dropped, from.dropped);
  to.why = view(from.why);
}

void convert(const LinkEvent& from, const std::vector<quarnex_receipt>& receipts, quarnex_event& to) {
  to.type = number(from.type);
  to.link = from.link;
  to.has_reason = from.reason.has_value();
  to.at = from.at;
  to.milliseconds = from.milliseconds;
  to.count = from.count;
  to.reason = reasonOf(from.reason);
  to.endpoint = view(from.endpoint);
  to.stays_queued = from.staysQueued;
  to.timed_out = from.timedOut;
  to.receipt = converted(from.receipt);
  to.receipts = receipts.data();
  to.receipts_count = receipts.size();
  to.lost_from = from.lost.from;
  to.lost_to = from.lost.to;
  to.lost_events = from.lost.events.data();
  to.lost_events_count = from.lost.events.size();
  std::fill(std::copy(std::begin(from.lost.texts), std::end(from.lost.texts), to.lost_texts),
            std::end(to.lost_texts), 0);
  to.accepted = from.counts.accepted;
  to.acknowledged = from.counts.acknowledged;
  to.dropped = from.counts.dropped;
  to.unknown = from.counts.unknown;
  to.texts_received = from.counts.textsReceived;
  to.received_dropped = from.counts.receivedDropped;
  to.reconnections = from.counts.reconnections;
}

void convert(const EventReport& report, quarnex_report& to) {
  to = {to.size,    report.code,  report.identifier, report.hour, report.minute,     report.second,
        report.day, report.month, report.year,       0,           view(report.type), view(report.detail)};
}

void convert(const TextCheck& check, quarnex_text_check& to) {
  to = {to.size, number(check.rule), check.alone, check.never, check.position, view(check.warning)};
}

void convert(const FileLosses& losses, quarnex_file_losses& to) {
  to = {to.size, losses.lastError, losses.bytes, losses.lines};
}

void convert(const ProcessSnapshot& process, quarnex_process_state& to) {
  to = {to.size, process.log.lastError, process.log.bytes, process.log.lines, process.bytesHeld};
}

LinkFailure converted(const quarnex_link_failure& failure) {
  if (failure.kind < 0 || failure.kind > number(FailureKind::FrameTooLong)) refuse("no such kind of failure");
  if (failure.phase < 0 || failure.phase > number(LinkPhase::Connected)) refuse("no such phase");
  return {static_cast<FailureKind>(failure.kind), failure.number,
          std::string(CallerText{failure.text.bytes, failure.text.length}),
          static_cast<LinkPhase>(failure.phase), failure.at};
}

MemoryLimits converted(const quarnex_memory_limits& limits) {
  requireUnused(limits.reserved);
  const MemoryLimits defaults;
  return {bytesOr(limits.unhandled, defaults.unhandled), bytesOr(limits.frame, defaults.frame),
          bytesOr(limits.unsent, defaults.unsent), bytesOr(limits.process, defaults.process)};
}

LogSettings converted(const quarnex_log_settings& settings) {
  requireUnused(settings.reserved);
  return {settings.bytes_max, settings.files_max, settings.group_may_read != 0};
}

RecordingSettings converted(const quarnex_recording_settings& settings) {
  requireUnused(settings.reserved);
  RecordingSettings chosen;
  if (settings.bytes_max > 0) chosen.bytesMax = settings.bytes_max;
  chosen.groupMayRead = settings.group_may_read != 0;
  chosen.mustBeNew = settings.must_be_new != 0;
  return chosen;
}

}  // namespace quarnex::c
