#include "recording/recorder/file_sink.h"

#include <utility>

#include "services/compression.h"
#include "services/storage.h"

namespace quarnex::recording {
namespace {

bool isCompressed(const std::filesystem::path& path) {
  return path.extension() == ".gz";
}

std::unique_ptr<Storage> createFile(const std::filesystem::path& path, const RecordingSettings& settings) {
  if (isCompressed(path)) requireCompression();
  auto file = createStorage(path, {settings.groupMayRead, settings.mustBeNew});
  return isCompressed(path) ? compressed(std::move(file)) : std::move(file);
}

WriterPlan planOf(const std::filesystem::path& path, std::uint64_t bytesMax, std::size_t waitingBytesMax) {
  WriterPlan plan;
  if (isCompressed(path)) plan.pause = kCompressedPause;
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
    : writer_(createFile(path, settings), planOf(path, settings.bytesMax, waitingBytesMax)) {}

}  // namespace quarnex::recording
