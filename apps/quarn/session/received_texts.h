// Writes the texts of the peer to standard output, as lines or as JSON, and counts those that were written.
#pragma once

#include <cstdint>
#include <deque>
#include <string>

#include "quarn/console.h"
#include "quarn/output_writer.h"
#include "quarn/session/line_warnings.h"
#include "quarn/session/session_options.h"

namespace quarnex::tool {

class ReceivedTexts {
 public:
  ReceivedTexts(OutputWriter& output, Console& console, const SessionOptions& options)
      : output_(output), console_(console), warnings_(console, "text"), options_(options) {}

  /// Decodes and writes the next text. Texts beyond `SessionOptions::count` are only counted.
  void take(const std::string& text);
  /// Prints grouped warnings that are due, or all of them.
  void printWarnings(bool all) { warnings_.printGroups(all); }

  /// Number of texts given to standard output.
  std::uint64_t count() const { return count_; }
  /// Number of acknowledged texts beyond `SessionOptions::count`.
  std::uint64_t surplus() const { return surplus_; }
  bool countReached() const { return options_.count > 0 && count_ >= options_.count; }
  /// Number of texts that standard output has accepted, which is also the number of the last one.
  std::uint64_t written();
  /// "text 41 of 45 is the last one written".
  std::string lastWritten();

 private:
  void write(const std::string& text, bool decoded);

  OutputWriter& output_;
  Console& console_;
  LineWarnings warnings_;
  const SessionOptions& options_;
  std::uint64_t count_ = 0, surplus_ = 0;
  std::deque<std::uint64_t> waiting_;  // number of the output line of each text not yet written
};

}  // namespace quarnex::tool
