// Sends input lines to the peer one batch at a time and reports the lines that were lost.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "quarn/console.h"
#include "quarn/streams.h"
#include "quarnex/quarn_socket.h"

namespace quarnex::tool {

/// A reconnection empties the link's queues, so lines wait here. The next batch goes to the link when the
/// link is connected and the peer has acknowledged the batch before, so a reconnection loses at most one
/// batch. This costs no time, because the link itself keeps only one batch in flight. No line is sent twice.
class OutgoingLines {
 public:
  OutgoingLines(LineReader& input, Console& console) : input_(input), console_(console) {}

  /// True while more input can be kept; otherwise do not read the input.
  bool wantsInput() const { return !input_.ended() && held_.size() < kHeldLinesMax; }
  /// True after the last line of the input has been taken.
  bool inputTaken() const { return input_.ended() && noLineWaits_; }

  /// Takes the lines read so far. Reports lines that would be altered on the way by number. Skips lines that
  /// the peer would never accept, because they would block the lines behind them.
  void takeLines();

  /// Counts acknowledged and lost lines, and sends the next batch when the last one is finished.
  void advance(QuarnSocket& quarn, const LinkSnapshot& link);

  /// True if every taken line is acknowledged, lost or skipped.
  bool settled() const { return held_.empty() && outstanding_.empty(); }
  /// Number of lines that are not yet sent or not yet acknowledged.
  std::size_t unsettled() const { return held_.size() + outstanding_.size(); }
  /// Counts all unsettled lines as lost and reports their numbers.
  void giveUp();

  std::uint64_t acknowledged() const { return acknowledged_; }
  std::uint64_t lost() const { return lost_; }

 private:
  static constexpr std::size_t kHeldLinesMax = 200;

  struct HeldLine {
    std::uint64_t number;
    std::string text;
    bool alone;
  };

  void takeLine(InputLine line);
  void settle(const LinkSnapshot& link);
  void sendBatch(QuarnSocket& quarn, const LinkSnapshot& link);
  void lose(std::uint64_t first, std::uint64_t last, std::size_t count, const std::string& fate);

  LineReader& input_;
  Console& console_;
  bool noLineWaits_ = false;
  std::deque<HeldLine> held_;
  std::vector<std::uint64_t> outstanding_;  // line numbers of the batch in the link
  std::uint64_t reconnections_ = 0;         // of the link when that batch was sent
  std::uint64_t acknowledged_ = 0;
  std::uint64_t lost_ = 0;
};

}  // namespace quarnex::tool
