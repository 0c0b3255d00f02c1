// Prints timed messages on standard error, and on a terminal a progress line below them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "quarn/streams.h"

namespace quarnex::tool {

class Console {
 public:
  /// `quiet` drops all messages except those of `printAlways`; `iso` prints dates as well.
  explicit Console(bool quiet = false, bool iso = false);

  /// Somebody may type on the terminal, whose lines the program does not see before they are finished. So the
  /// progress moves to the last row of the terminal, and all other output scrolls above it. A terminal that
  /// cannot do that shows no progress.
  void keepTypedText();

  OutputWriter& output() { return output_; }

  /// Prints "14:20:05 words", as `printable` shows them.
  void print(std::string_view words);
  /// Prints `words` with the given time in seconds since 1970-01-01 UTC.
  void print(std::int64_t second, std::string_view words);
  void printAlways(std::string_view words);

  /// Shows `words` as the last line of the terminal until the next message or progress; "" removes the line.
  /// Cuts them to the width of the terminal. Does nothing if standard error is not a terminal.
  void showProgress(const std::string& words);
  /// Removes the progress line before another output to the terminal, unless it has a row of its own.
  void clearProgress();
  bool progressHasOwnRow() const { return rowsReserved_ > 0; }

 private:
  void printLine(std::int64_t second, std::string_view words);
  void showInLastRow(const std::string& words);
  void write(std::string_view bytes);

  OutputWriter output_;
  bool terminal_, quiet_, iso_;
  bool typedText_ = false;
  int rowsReserved_ = 0;  // rows of the terminal when its last one was reserved, 0 = not reserved
  std::string progress_;
};

/// Returns "1 line", "2 lines".
std::string counted(std::uint64_t count, std::string_view noun);

/// Whole seconds since 1970-01-01 UTC.
std::int64_t wallSecond();

/// Returns the local time of day of `second`, "14:20:05".
std::string timeOfDay(std::int64_t second);
/// Returns local date, time and time zone of `second` in the form of ISO 8601, "2026-11-18T14:20:05+01:00".
std::string isoTime(std::int64_t second);

}  // namespace quarnex::tool
