// Checks and encodes input lines, sends them to the peer and reports the lines that did not arrive.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>

#include "quarn/console.h"
#include "quarn/session/line_warnings.h"
#include "quarn/session/session_options.h"
#include "quarn/streams.h"
#include "quarnex/quarn_socket.h"
#include "quarnex/receipts.h"

namespace quarnex::tool {

/// A reconnection empties the link's queue, so most lines wait here. The queue holds two batches beside the
/// one in flight, so that the link sends without a pause.
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

  /// Takes no more lines. Counts those that have been read, or can be read now, as dropped.
  void dropRest();

  /// Gives lines to the link while it is connected.
  void advance(QuarnSocket& quarn, const LinkSnapshot& link);

  /// Counts the lines of a receipt. Reports lines that were not acknowledged or, with
  /// `SessionOptions::resend`, sends them again. Returns the lines.
  NumberedRange takeReceipt(const Receipt& receipt);

  /// True if every taken line has an outcome or was refused.
  bool settled() const { return held_.empty() && sent_.empty(); }
  /// Number of lines that have no outcome.
  std::size_t unsettled() const { return held_.size() + sent_.size(); }
  /// Sends nothing more. Counts all unsettled lines as dropped or unknown and reports their numbers.
  void giveUp(QuarnSocket& quarn, std::int16_t link);
  /// Prints grouped warnings that are due, or all of them.
  void printWarnings(bool all) { warnings_.printGroups(all); }

  std::uint64_t taken() const { return taken_; }
  std::uint64_t acknowledged() const { return acknowledged_; }
  std::uint64_t refused() const { return refused_; }
  std::uint64_t dropped() const { return dropped_; }
  std::uint64_t unknown() const { return unknown_; }
  std::uint64_t sentAgain() const { return sentAgain_; }

 private:
  static constexpr std::size_t kHeldLinesMax = 200;

  struct HeldLine {
    std::uint64_t number;
    std::string text;
    bool alone;
  };
  struct SentLine {
    std::uint64_t text;  // number of the text on the link
    HeldLine line;
  };

  std::optional<InputLine> nextLine();
  void takeLine(InputLine line);
  void refuse(std::uint64_t number, const std::string& kind, const std::string& words);
  bool mayFollow(const HeldLine& next, std::size_t queued) const;
  bool isRepeated(const Receipt& receipt) const;
  void dropUnsent(const NumberedRange& lines);
  void count(const Receipt& receipt, const NumberedRange& lines);

  LineReader& input_;
  Console& console_;
  LineWarnings warnings_;
  const SessionOptions& options_;
  bool noLineWaits_ = false;
  bool givenUp_ = false;
  std::uint64_t taken_ = 0;
  std::deque<HeldLine> held_;
  std::deque<SentLine> sent_;  // given to the link, without an outcome
  std::uint64_t acknowledged_ = 0, refused_ = 0, dropped_ = 0, unknown_ = 0, sentAgain_ = 0;
};

}  // namespace quarnex::tool
