// Numbers the texts of one link and decides the fate of each.
#pragma once

#include <cstddef>
#include <cstdint>

#include "engine/records/ack_tally.h"
#include "quarnex/receipts.h"

namespace quarnex {

/// Receives each decision as a range of texts. Never throws.
class DecisionSink {
 public:
  virtual void decided(const Receipt& receipt) = 0;

 protected:
  ~DecisionSink() = default;
};

/// The undecided texts of a link are those that an uncertain acknowledgement has taken out of the exchange,
/// then those of the batch in flight, then those of the outbound queue, in the order of their numbers. So a
/// few numbers describe all of them. Each operation passes its decisions on in that order.
class ReceiptBook {
 public:
  /// Numbers a text that is about to be queued.
  std::uint64_t accept() { return ++accepted_; }
  /// The text that was numbered last never enters the queue.
  void passBy() { queueFrom_ = accepted_ + 1; }
  /// The oldest text of the queue has been dropped.
  void dropOldest(ReceiptCause cause, DecisionSink& sink);
  /// The oldest `texts` of the queue are the batch now. Bit i of `spoilt` = its text i cannot arrive intact.
  /// After `abandon`, texts that still stand in the queue keep the outcome that they have: a link that an
  /// event closes inside a step makes a batch that cannot be sent.
  void prepare(std::size_t texts, std::uint32_t spoilt);
  /// A data frame has left; `first` = not a repetition. Call it after `AckTally::sendsData`.
  void sent(bool first, const AckTally& tally);
  /// An acknowledgement has taken the batch, if any, out of the exchange. Call it after
  /// `AckTally::acknowledges`.
  void acknowledged(const AckTally& tally, std::int64_t second, DecisionSink& sink);
  /// No acknowledgement is on its way any more.
  void settle(const AckTally& tally, DecisionSink& sink);
  /// Settles if the uncertainty has lasted for a minute.
  void settleOld(const AckTally& tally, std::int64_t second, DecisionSink& sink);
  /// The connection has ended; queue and batch may go on with the next one.
  void connectionEnded(const AckTally& tally, DecisionSink& sink);
  /// Batch and queue are dropped.
  void abandon(ReceiptCause cause, const AckTally& tally, DecisionSink& sink);

  std::uint64_t accepted() const { return accepted_; }
  std::uint64_t decidedUpTo() const;
  std::uint64_t undecided() const;
  /// Calls `use` with each range of undecided texts, in order.
  template <class Use>
  void visitPending(const Use& use) const {
    if (!uncertain_.empty()) use(PendingTexts{uncertain_.from, uncertain_.to, true});
    if (!batch_.empty()) use(PendingTexts{batch_.from, batch_.to, batchFrames_ > 0});
    if (queueFrom_ <= accepted_) use(PendingTexts{queueFrom_, accepted_, false});
  }

 private:
  struct Range {
    std::uint64_t from = 1, to = 0;
    bool empty() const { return to < from; }
  };

  void endBatch(const AckTally& tally, std::int64_t second, DecisionSink& sink);
  void forgetBatch();
  void decideBatch(Outcome outcome, ReceiptCause cause, const AckTally& tally, DecisionSink& sink);
  void decideSpoiltBatch(bool certain, const AckTally& tally, DecisionSink& sink);
  void decideUncertain(Outcome outcome, const AckTally& tally, DecisionSink& sink);
  void deferBatch(std::int64_t second);

  std::uint64_t accepted_ = 0;
  std::uint64_t queueFrom_ = 1;  // number of the oldest text in the queue
  Range batch_;
  Range uncertain_;
  std::int64_t uncertainSince_ = 0;
  std::uint32_t uncertainFrames_ = 0;
  std::uint32_t batchFrames_ = 0;   // that the batch was in, on all connections
  std::uint32_t framesBefore_ = 0;  // data frames before the batch's first, see `AckTally::frames`
  std::uint32_t spoilt_ = 0;
  bool leftHere_ = false;      // the batch has been in a frame on this connection
  bool repeatsBatch_ = false;  // the message that is repeated is the batch
};

}  // namespace quarnex
