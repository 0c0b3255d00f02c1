// Counts the data frames of a connection and their acknowledgements, and tells when none of them can still be
// on its way.
#pragma once

#include <cstdint>
#include <limits>

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
///
/// Every link has a tally, so the counts are small. One that has reached its limit stays there, and nothing
/// is certain or proved on that connection any more.
class AckTally {
 public:
  void begin() {
    const std::uint32_t next = connection_ + 1;
    *this = {};
    connection_ = next;
  }
  void sendsData(bool client) {
    add(frames_);
    if (!client) {
      add(sent_);
      signs_ = 0;
    }
    before_ = sent_;
  }
  void sendsWords(bool client, bool query) {
    if (query || !client) add(sent_);
  }

  /// A certain acknowledgement answers one data frame. An uncertain one can be a repetition.
  void acknowledges(bool certain) {
    if (!certain || acks_ == frames_ || frames_ == kMax) return;
    add(acks_);
    if (acks_ < frames_) return;
    acks_ = frames_ = 0;
    forget(before_);
  }
  /// On a client: the server has no data. Returns true if this proves that no acknowledgement is on its way.
  bool answersQuery() {
    add(signs_);
    return signs_ > before_ && settle(signs_);
  }
  /// On a server: the client queries. Returns true if this proves that no acknowledgement is on its way.
  bool queries() {
    queried_ = true;
    add(signs_);
    return signs_ > kUnansweredMax * (before_ + 1) && settle(before_);
  }

  /// The link's connections so far.
  std::uint32_t connection() const { return connection_; }
  /// Since all were acknowledged last.
  std::uint32_t frames() const { return frames_; }
  std::uint32_t acks() const { return acks_; }
  bool allAcknowledged() const { return acks_ == frames_; }
  /// On a server: the client has queried on this connection. Before that, its first message may repeat an
  /// acknowledgement of the connection before.
  bool queried() const { return queried_; }

 private:
  using Count = std::uint16_t;
  static constexpr Count kMax = std::numeric_limits<Count>::max();
  static constexpr int kUnansweredMax = 7;

  static void add(Count& count) {
    if (count < kMax) ++count;
  }
  bool settle(Count answered) {
    if (frames_ < kMax) acks_ = frames_;
    forget(answered);
    return true;
  }
  void forget(Count answered) {
    if (sent_ < kMax) sent_ = static_cast<Count>(answered < sent_ ? sent_ - answered : 0);
    signs_ = before_ = 0;
  }

  std::uint32_t connection_ = 0;
  Count frames_ = 0, acks_ = 0;
  Count sent_ = 0;    // queries (client) or frames (server) that may still be unanswered or under way
  Count before_ = 0;  // of these up to the last data frame
  Count signs_ = 0;   // "9NODATA" (client) or queries (server) since then
  bool queried_ = false;
};

}  // namespace quarnex
