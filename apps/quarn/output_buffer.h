// Output to a descriptor whose reader may be slow: what it does not take now waits here, and the links do
// not.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quarnex::tool {

class OutputBuffer {
 public:
  explicit OutputBuffer(int descriptor) : descriptor_(descriptor) {}

  int descriptor() const { return descriptor_; }

  void append(std::string_view bytes);

  /// Bytes that wait for the reader.
  std::size_t waiting() const { return bytes_.size() - written_; }

  /// Writes what the reader takes without waiting for it.
  void writeSome();
  /// Waits until everything is written.
  void flush();

  /// True once writing has failed for good; everything appended is thrown away from then on.
  bool broken() const { return failure_ != 0; }
  /// The reader has gone away, as readers of a pipe may.
  bool readerGone() const;
  /// Why writing failed.
  std::string error() const;

 private:
  void writeOnce();

  int descriptor_;
  std::string bytes_;
  std::size_t written_ = 0;
  int failure_ = 0;
};

}  // namespace quarnex::tool
