// Writes a recording to disk in the background, so that a slow, full or hanging disk never delays the links.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string_view>

#include "quarnex/flight_recorder.h"
#include "recording/format/line_writer.h"
#include "services/background_writer.h"

namespace quarnex::recording {

/// The line in the place of missing ones.
std::string markOf(const WriteLosses& missing);

class FileSink final : public Sink {
 public:
  /// Creates `path`, compressed if its name ends in ".gz". Throws as `createStorage` and `compressed` do. See
  /// `WriterPlan` for `waitingBytesMax`.
  explicit FileSink(const std::filesystem::path& path, const RecordingSettings& settings = {},
                    std::size_t waitingBytesMax = WriterPlan().waitingBytesMax);

  void write(std::string_view lines) override { writer_.write(lines); }
  bool full() const override { return writer_.full(); }
  BackgroundWriter& writer() { return writer_; }

 private:
  BackgroundWriter writer_;
};

}  // namespace quarnex::recording
