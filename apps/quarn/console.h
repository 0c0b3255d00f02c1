// What the tool says to people on standard error: dated lines, and on a terminal one line that counts down.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "quarn/streams.h"

namespace quarnex::tool {

class Console {
 public:
  Console();

  OutputBuffer& output() { return output_; }

  /// "14:20:05 words"; control characters are shown as \x1B, so that a peer's bytes do not drive the
  /// terminal.
  void say(std::string_view words);
  /// The same with a time of day of its own ("14:20:05").
  void say(std::string_view timeOfDay, std::string_view words);

  /// Shows `words` as the last line of the terminal, until it is shown anew or something is said; "" shows
  /// nothing. Does nothing where standard error is no terminal.
  void showProgress(const std::string& words);

 private:
  void write(std::string_view bytes);

  OutputBuffer output_;
  bool terminal_;
  std::string progress_;
};

/// Whole seconds since 1970-01-01 UTC.
std::int64_t wallSecond();

/// The local time of day of `second`, "14:20:05".
std::string timeOfDay(std::int64_t second);

}  // namespace quarnex::tool
