// Writes a recording to disk in the background, so that a slow, full or hanging disk never delays the links.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string_view>

#include "recording/format/line_writer.h"
#include "services/background_writer.h"

namespace quarnex::recording {

/// The line in the place of missing ones.
std::string markOf(const WriteLosses& missing);

/// Limits of a recording.
struct FileSinkLimits {
  std::uintmax_t fileBytes = std::uintmax_t{4} << 30;  ///< the recording ends there with a line that says so
  std::size_t waitingBytes = std::size_t{8} << 20;     ///< in memory, while as many are being written
};

class FileSink final : public Sink {
 public:
  /// Creates `path` or throws, as `createStorage` does.
  explicit FileSink(const std::filesystem::path& path, const FileSinkLimits& limits = {},
                    bool groupMayRead = false);

  void write(std::string_view lines) override { writer_.write(lines); }
  bool full() const override { return writer_.full(); }
  BackgroundWriter& writer() { return writer_; }

 private:
  BackgroundWriter writer_;
};

}  // namespace quarnex::recording
