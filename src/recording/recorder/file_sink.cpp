#include "recording/recorder/file_sink.h"

#include <utility>

namespace quarnex::recording {
namespace {

WriterPlan planOf(const FileSinkLimits& limits) {
  WriterPlan plan;
  plan.mark = markOf;
  plan.waitingBytesMax = limits.waitingBytes;
  plan.fileBytesMax = limits.fileBytes;
  plan.lastLine = textOf(LimitLine{static_cast<std::int64_t>(limits.fileBytes)}) + '\n';
  return plan;
}

}  // namespace

std::string markOf(const WriteLosses& missing) {
  return textOf(MissingLine{static_cast<std::int64_t>(missing.bytes)}) + '\n';
}

FileSink::FileSink(const std::filesystem::path& path, const FileSinkLimits& limits, bool groupMayRead)
    : writer_(createStorage(path, groupMayRead), planOf(limits)) {}

}  // namespace quarnex::recording
