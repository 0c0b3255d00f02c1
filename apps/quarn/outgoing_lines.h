// From the lines of the input to texts that the peer has acknowledged, with an account of those that were
// lost.
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

/// A reconnection empties the link's queues, so lines wait here and are handed over one batch at a time, each
/// when the link is connected and the batch before it has been acknowledged: no more than one batch is ever
/// at stake. This costs no time, since the link itself has only one batch under way. Nothing is sent a second
/// time.
class OutgoingLines {
 public:
  OutgoingLines(LineReader& input, Console& console) : input_(input), console_(console) {}

  /// True while there is room for more lines; otherwise the input is to wait.
  bool wantsInput() const { return !input_.ended() && held_.size() < kHeldLinesMax; }
  /// True once every line of the input has been taken.
  bool inputTaken() const { return input_.ended() && noLineWaits_; }

  /// Takes lines that the input has read. A line that will not arrive as it stands is named on the console,
  /// and one that would keep those behind it from arriving is left out.
  void takeLines();

  /// Settles what has been acknowledged or lost, and hands over the next batch if it is time.
  void advance(QuarnSocket& quarn, const LinkSnapshot& link);

  /// True if no line waits here or for its acknowledgement.
  bool settled() const { return held_.empty() && outstanding_.empty(); }
  /// Lines that wait here or for their acknowledgement.
  std::size_t unsettled() const { return held_.size() + outstanding_.size(); }
  /// Gives up the lines that are not settled, and says which.
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

  void takeLine(Line line);
  void settle(const LinkSnapshot& link);
  void handOver(QuarnSocket& quarn, const LinkSnapshot& link);
  void lose(std::uint64_t first, std::uint64_t last, std::size_t count, const std::string& fate);

  LineReader& input_;
  Console& console_;
  bool noLineWaits_ = false;
  std::deque<HeldLine> held_;
  std::vector<std::uint64_t> outstanding_;  // line numbers of the batch handed over
  std::uint64_t reconnections_ = 0;         // of the link, when that batch was handed over
  std::uint64_t acknowledged_ = 0;
  std::uint64_t lost_ = 0;
};

}  // namespace quarnex::tool
