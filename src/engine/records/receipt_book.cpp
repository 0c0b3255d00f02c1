#include "engine/records/receipt_book.h"

#include <algorithm>
#include <iterator>

#include "services/assertion.h"

namespace quarnex {
namespace {

constexpr std::int64_t kUncertainSecondsMax = 60;

constexpr const char* kOutcomeNames[] = {"acknowledged", "dropped", "unknown"};
constexpr const char* kCauseNames[] = {
    "",           "reconnection",          "reopened", "closed",  "queues-emptied",
    "queue-full", "stray-acknowledgement", "content",  "timeout", "no-peer"};
constexpr const char* kRefusalNames[] = {"", "unknown-link", "not-open", "draining", "leaving", "text"};
static_assert(std::size(kOutcomeNames) == kOutcomeCount && std::size(kCauseNames) == kReceiptCauseCount);

}  // namespace

const char* nameOf(Outcome outcome) {
  return kOutcomeNames[static_cast<std::size_t>(outcome)];
}

const char* nameOf(ReceiptCause cause) {
  return kCauseNames[static_cast<std::size_t>(cause)];
}

const char* nameOf(Refusal refusal) {
  return kRefusalNames[static_cast<std::size_t>(refusal)];
}

void ReceiptBook::dropOldest(ReceiptCause cause, DecisionSink& sink) {
  if (queueFrom_ > accepted_) return;
  const std::uint64_t oldest = queueFrom_++;
  sink.decided({oldest, oldest, Outcome::Dropped, cause});
}

void ReceiptBook::prepare(std::size_t texts, std::uint32_t spoilt) {
  QUARNEX_ASSERT(batch_.empty());
  const std::uint64_t undecided = std::min<std::uint64_t>(texts, accepted_ + 1 - queueFrom_);
  batch_ = {queueFrom_, queueFrom_ + undecided - 1};
  queueFrom_ += undecided;
  spoilt_ = spoilt;
  batchFrames_ = 0;
  leftHere_ = repeatsBatch_ = false;
}

void ReceiptBook::sent(bool first, const AckTally& tally) {
  if (first) repeatsBatch_ = true;
  if (!repeatsBatch_) return;
  if (!leftHere_) framesBefore_ = tally.frames() - 1;
  leftHere_ = true;
  ++batchFrames_;
}

void ReceiptBook::acknowledged(const AckTally& tally, std::int64_t second, DecisionSink& sink) {
  if (!batch_.empty()) endBatch(tally, second, sink);
  forgetBatch();
  if (tally.allAcknowledged()) decideUncertain(Outcome::Acknowledged, tally, sink);
}

void ReceiptBook::settle(const AckTally& tally, DecisionSink& sink) {
  decideUncertain(Outcome::Unknown, tally, sink);
}

void ReceiptBook::settleOld(const AckTally& tally, std::int64_t second, DecisionSink& sink) {
  if (!uncertain_.empty() && second > uncertainSince_ + kUncertainSecondsMax) settle(tally, sink);
}

void ReceiptBook::connectionEnded(const AckTally& tally, DecisionSink& sink) {
  settle(tally, sink);
  leftHere_ = false;
}

void ReceiptBook::abandon(ReceiptCause cause, const AckTally& tally, DecisionSink& sink) {
  settle(tally, sink);
  const bool blocked = spoilt_ == UINT32_MAX;
  const Outcome outcome = batchFrames_ == 0 ? Outcome::Dropped : Outcome::Unknown;
  decideBatch(outcome, blocked ? ReceiptCause::Content : cause, tally, sink);
  forgetBatch();
  if (queueFrom_ <= accepted_)
    sink.decided({queueFrom_, accepted_, Outcome::Dropped, cause, 0, tally.connection()});
  queueFrom_ = accepted_ + 1;
}

std::uint64_t ReceiptBook::decidedUpTo() const {
  if (!uncertain_.empty()) return uncertain_.from - 1;
  return (batch_.empty() ? queueFrom_ : batch_.from) - 1;
}

std::uint64_t ReceiptBook::undecided() const {
  std::uint64_t count = 0;
  visitPending([&](const PendingTexts& texts) { count += texts.to - texts.from + 1; });
  return count;
}

void ReceiptBook::endBatch(const AckTally& tally, std::int64_t second, DecisionSink& sink) {
  const bool isOwn = tally.allAcknowledged() || tally.acks() > framesBefore_;
  const bool certain = leftHere_ && uncertain_.empty() && isOwn;
  const bool continues = uncertain_.empty() || uncertain_.to + 1 == batch_.from;
  if (!leftHere_ || spoilt_ != 0 || !continues) settle(tally, sink);
  if (!leftHere_) {
    const Outcome outcome = batchFrames_ == 0 ? Outcome::Dropped : Outcome::Unknown;
    decideBatch(outcome, ReceiptCause::StrayAcknowledgement, tally, sink);
  } else if (spoilt_ != 0) {
    decideSpoiltBatch(certain, tally, sink);
  } else if (certain) {
    decideBatch(Outcome::Acknowledged, ReceiptCause::None, tally, sink);
  } else {
    deferBatch(second);
  }
}

void ReceiptBook::forgetBatch() {
  batch_ = {};
  batchFrames_ = spoilt_ = 0;
  leftHere_ = false;
}

void ReceiptBook::decideBatch(Outcome outcome, ReceiptCause cause, const AckTally& tally,
                              DecisionSink& sink) {
  if (batch_.empty()) return;
  sink.decided({batch_.from, batch_.to, outcome, cause, batchFrames_, tally.connection()});
}

// Neighbours with the same fate are one decision.
void ReceiptBook::decideSpoiltBatch(bool certain, const AckTally& tally, DecisionSink& sink) {
  const auto spoilt = [&](std::uint64_t number) {
    return !certain || (spoilt_ >> (number - batch_.from) & 1) != 0;
  };
  for (std::uint64_t from = batch_.from, to = from; from <= batch_.to; from = ++to) {
    while (to < batch_.to && spoilt(to + 1) == spoilt(from)) ++to;
    const bool intact = !spoilt(from);
    sink.decided({from, to, intact ? Outcome::Acknowledged : Outcome::Unknown,
                  intact ? ReceiptCause::None : ReceiptCause::Content, batchFrames_, tally.connection()});
  }
}

void ReceiptBook::decideUncertain(Outcome outcome, const AckTally& tally, DecisionSink& sink) {
  if (uncertain_.empty()) return;
  const ReceiptCause cause =
      outcome == Outcome::Unknown ? ReceiptCause::StrayAcknowledgement : ReceiptCause::None;
  sink.decided({uncertain_.from, uncertain_.to, outcome, cause, uncertainFrames_, tally.connection()});
  uncertain_ = {};
  uncertainFrames_ = 0;
}

void ReceiptBook::deferBatch(std::int64_t second) {
  if (uncertain_.empty()) {
    uncertain_.from = batch_.from;
    uncertainSince_ = second;
  }
  uncertain_.to = batch_.to;
  uncertainFrames_ = std::max(uncertainFrames_, batchFrames_);
}

}  // namespace quarnex
