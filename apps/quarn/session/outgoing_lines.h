// Checks and encodes input lines, sends them to the peer and reports the lines that did not arrive.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "quarn/console.h"
#include "quarn/session/line_warnings.h"
#include "quarn/session/session_options.h"
#include "quarn/streams.h"
#include "quarnex/quarn_socket.h"

namespace quarnex::tool {

/// A reconnection empties the link's queues, so lines wait here. The next batch goes to the link when the
/// link is connected and the peer has acknowledged the batch before, so a reconnection loses at most one
/// batch. This costs no time, because the link itself keeps only one batch in flight. No line is sent twice.
class OutgoingLines {
 public:
  /// Takes the lines of `input` or, if there are any, of `SessionOptions::messages`.
  OutgoingLines(LineReader& input, Console& console, const SessionOptions& options)
      : input_(input), console_(console), warnings_(console, "line"), options_(options) {}

  /// True while more input can be kept; otherwise do not read the input.
  bool wantsInput() const { return options_.readsInput() && !input_.ended() && held_.size() < kHeldLinesMax; }
  /// True after the last line of the input has been taken.
  bool inputTaken() const { return noLineWaits_ && (!options_.readsInput() || input_.ended()); }

  /// Takes the lines read so far. Reports lines that would be altered on the way by number. Refuses lines
  /// that the peer would never accept, because they would block the lines behind them, and lines that make
  /// a library act, unless `SessionOptions::allowWords` is set.
  void takeLines();

  /// Counts acknowledged and lost lines, and sends the next batch when the last one is finished.
  void advance(QuarnSocket& quarn, const LinkSnapshot& link);

  /// True if every taken line is acknowledged, lost or refused.
  bool settled() const { return held_.empty() && outstanding_.empty(); }
  /// Number of lines that are not yet sent or not yet acknowledged.
  std::size_t unsettled() const { return held_.size() + outstanding_.size(); }
  /// Counts all unsettled lines as dropped or unknown and reports their numbers.
  void giveUp();
  /// Prints grouped warnings that are due, or all of them.
  void printWarnings(bool all) { warnings_.printGroups(all); }

  std::uint64_t taken() const { return taken_; }
  std::uint64_t acknowledged() const { return acknowledged_; }
  std::uint64_t refused() const { return refused_; }
  std::uint64_t dropped() const { return dropped_; }
  std::uint64_t unknown() const { return unknown_; }

 private:
  static constexpr std::size_t kHeldLinesMax = 200;

  struct HeldLine {
    std::uint64_t number;
    std::string text;
    bool alone;
  };

  std::optional<InputLine> nextLine();
  void takeLine(InputLine line);
  void refuse(std::uint64_t number, const std::string& kind, const std::string& words);
  void settle(const LinkSnapshot& link);
  void sendBatch(QuarnSocket& quarn, const LinkSnapshot& link);
  void loseBatch(const std::string& fate);

  LineReader& input_;
  Console& console_;
  LineWarnings warnings_;
  const SessionOptions& options_;
  bool noLineWaits_ = false;
  std::uint64_t taken_ = 0;
  std::deque<HeldLine> held_;
  std::vector<std::uint64_t> outstanding_;  // line numbers of the batch in the link
  std::uint64_t reconnections_ = 0;         // of the link when that batch was sent
  std::uint64_t acknowledged_ = 0, refused_ = 0, dropped_ = 0, unknown_ = 0;
};

}  // namespace quarnex::tool
