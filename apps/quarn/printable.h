// Escapes everything in a text that could control a terminal or imitate other output.
#pragma once

#include <optional>
#include <ostream>
#include <streambuf>
#include <string>
#include <string_view>

namespace quarnex::tool {

/// The one rule for output that people read. The characters of ASCII from 32 to 126 appear as they are. If
/// the locale uses UTF-8, so does every well-formed character from U+00A0 on, except those that are invisible
/// or change the direction of the line. Each byte of anything else appears as "\x1B": control characters (0
/// to 31, 127, 128 to 159, also as U+0080 to U+009F) and, without UTF-8, all bytes from 128 on.
std::string printable(std::string_view text);

/// The same for a given encoding of the terminal.
std::string printable(std::string_view text, bool utf8);

/// Applies the rule to everything that is written to `stream`, as long as it lives. Line feeds stay.
class PrintableStream : private std::streambuf {
 public:
  explicit PrintableStream(std::ostream& stream) : stream_(stream), inner_(stream.rdbuf(this)) {}
  ~PrintableStream() override { stream_.rdbuf(inner_); }
  PrintableStream(const PrintableStream&) = delete;
  PrintableStream& operator=(const PrintableStream&) = delete;

 private:
  int_type overflow(int_type character) override;
  std::streamsize xsputn(const char* text, std::streamsize size) override;
  int sync() override { return inner_->pubsync(); }

  std::ostream& stream_;
  std::streambuf* inner_;
};

}  // namespace quarnex::tool
