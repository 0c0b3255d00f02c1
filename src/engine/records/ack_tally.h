// Counts the data frames of a connection and their acknowledgements, and tells when none of them can still be
// on its way.
#pragma once

#include <cstdint>

namespace quarnex {

/// An acknowledgement has no number, so only counting tells which batch it belongs to. The peer answers each
/// good data frame with one acknowledgement, and a connection keeps the order of both. So the n-th
/// acknowledgement belongs to the n-th data frame or to a later one, and once there are as many
/// acknowledgements as data frames, each frame has its own.
///
/// A damaged frame breaks that count until something proves that no acknowledgement is still under way:
/// - On a client, the server's "9NODATA" answers one query, in order. More of them than queries before the
///   last data frame: one has answered a query after it, so every acknowledgement has come before.
/// - On a server, the client sends at most `kUnansweredMax` frames in a row without having received one, or
/// it
///   gives up. That many queries for each frame of this side that may still be under way, with no data frame
///   between them, show that it has received all of these.
class AckTally {
 public:
  void begin() {
    const std::uint32_t next = connection_ + 1;
    *this = {};
    connection_ = next;
  }
  void sendsData() {
    ++frames_;
    queriesBefore_ = queries_;
    sentBefore_ = ++sent_;
    quietQueries_ = 0;
  }
  void sendsWords(bool query) {
    ++sent_;
    if (query) ++queries_;
  }

  /// A certain acknowledgement answers one data frame. An uncertain one can be a repetition.
  void acknowledges(bool certain) {
    if (!certain || acks_ == frames_) return;
    ++acks_;
    if (acks_ == frames_) forgetQueries(queriesBefore_);
  }
  /// Return true if this proves that no acknowledgement is on its way any more.
  bool answersQuery() {
    ++answers_;
    return answers_ > queriesBefore_ && settle(answers_);
  }
  bool queries() {
    queried_ = true;
    ++quietQueries_;
    return quietQueries_ > kUnansweredMax * (sentBefore_ + 1) && settle(0);
  }

  /// The link's connections so far.
  std::uint32_t connection() const { return connection_; }
  std::uint32_t frames() const { return frames_; }
  std::uint32_t acks() const { return acks_; }
  bool allAcknowledged() const { return acks_ == frames_; }
  /// On a server: the client has queried on this connection. Before that, its first message may repeat an
  /// acknowledgement of the connection before.
  bool queried() const { return queried_; }

 private:
  static constexpr std::uint32_t kUnansweredMax = 7;

  bool settle(std::uint32_t answered) {
    acks_ = frames_;
    forgetQueries(answered);
    return true;
  }
  void forgetQueries(std::uint32_t answered) {
    queries_ -= answered < queries_ ? answered : queries_;
    sent_ -= sentBefore_;
    answers_ = queriesBefore_ = sentBefore_ = 0;
  }

  std::uint32_t connection_ = 0;
  std::uint32_t frames_ = 0, acks_ = 0;
  std::uint32_t queries_ = 0,
                queriesBefore_ = 0;          // sent and not certainly answered; before the last data frame
  std::uint32_t answers_ = 0;                // "9NODATA" since then
  std::uint32_t sent_ = 0, sentBefore_ = 0;  // frames since then; up to the last data frame
  std::uint32_t quietQueries_ = 0;           // received since the last data frame
  bool queried_ = false;
};

}  // namespace quarnex
