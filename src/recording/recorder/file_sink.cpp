#include "recording/recorder/file_sink.h"

#include <utility>

namespace quarnex::recording {
namespace {

WriterPlan planOf(std::uint64_t bytesMax, std::size_t waitingBytesMax) {
  WriterPlan plan;
  plan.mark = markOf;
  plan.waitingBytesMax = waitingBytesMax;
  plan.fileBytesMax = bytesMax;
  plan.lastLine = textOf(LimitLine{static_cast<std::int64_t>(bytesMax)}) + '\n';
  return plan;
}

}  // namespace

std::string markOf(const WriteLosses& missing) {
  return textOf(MissingLine{static_cast<std::int64_t>(missing.bytes)}) + '\n';
}

FileSink::FileSink(const std::filesystem::path& path, const RecordingSettings& settings,
                   std::size_t waitingBytesMax)
    : writer_(createStorage(path, settings.groupMayRead), planOf(settings.bytesMax, waitingBytesMax)) {}

}  // namespace quarnex::recording
