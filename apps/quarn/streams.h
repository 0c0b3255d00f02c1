// Reads the lines of standard input without blocking, and turns the links' loop beside the standard streams.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>

#include "quarn/output_writer.h"
#include "quarnex/host_loop.h"

namespace quarnex::tool {

constexpr int kStandardInput = 0;
constexpr int kStandardOutput = 1;
constexpr int kStandardError = 2;

struct InputLine {
  std::uint64_t number = 0;  ///< from 1
  std::string text;          ///< without the line end; "" if the line is too long
  bool tooLong = false;
};

/// Splits the bytes of a descriptor into lines, in time linear in the number of bytes.
class LineReader {
 public:
  /// Discards lines longer than `lineBytesMax` bytes, so that an endless line does not fill the memory.
  LineReader(int descriptor, std::size_t lineBytesMax)
      : descriptor_(descriptor), lineBytesMax_(lineBytesMax) {}

  int descriptor() const { return descriptor_; }

  /// True if `readSome` does not block.
  bool isReadable() const;
  /// Reads once, at most 64 KiB. Does not block if poll has reported the descriptor as readable.
  void readSome();

  /// Returns the next complete line, if there is one. At the end of the input the last line needs no line
  /// end.
  std::optional<InputLine> next();

  /// True after the end of the input or an error. `next` may still return lines.
  bool ended() const { return ended_; }
  /// The error that ended the input; "" after an ordinary end.
  const std::string& error() const { return error_; }

 private:
  InputLine cut(std::size_t end, std::size_t nextStart);

  int descriptor_;
  std::size_t lineBytesMax_;
  std::string buffer_;
  std::size_t start_ = 0;    // of the next line
  std::size_t scanned_ = 0;  // there is no line end between start_ and here
  std::uint64_t lines_ = 0;
  bool overlong_ = false;  // the beginning of the line at start_ has been discarded
  bool ended_ = false;
  std::string error_;
};

bool isTerminal(int descriptor);

struct TerminalSize {
  int rows, columns;
};

/// The present size of a terminal; 24 rows of 80 columns if it does not know.
TerminalSize terminalSize(int descriptor);

/// True if standard input is /dev/null, which `prepareProcess` also opens in place of a closed one.
bool standardInputIsNull();
/// False if the caller has closed standard output.
bool standardOutputIsWritable();

/// True if the locale of the process writes characters in UTF-8.
bool localeUsesUtf8();

/// Waits at most `maxWait` (negative = no limit) until the links have work, `input` (if not null) is readable
/// or an output has been written or has failed. Then reads and turns the links' loop once.
void turnHost(HostLoop& loop, LineReader* input, std::initializer_list<OutputWriter*> outputs,
              std::chrono::milliseconds maxWait);

}  // namespace quarnex::tool
