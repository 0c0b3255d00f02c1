#include "platform/common/log_text_file.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <deque>
#include <filesystem>
#include <system_error>
#include <utility>

#include "platform/common/host_platform.h"
#include "quarnex/failure.h"

namespace quarnex {
namespace {

constexpr std::string_view kSuffix = ".txt";
constexpr std::size_t kStampDigits = 14;

std::string markOf(const WriteLosses& missing) {
  const std::string reason = missing.lastError == 0    ? "the disk was too slow"
                             : missing.lastError == 61 ? "the disk was full"
                                                       : "the disk failed";
  return "--- " + std::to_string(missing.lines) + " lines (" + std::to_string(missing.bytes) +
         " bytes) are missing here: " + reason + "\r\n";
}

// The present local date and time, "ddmmyyyyhhmmss".
std::string stampNow() {
  const LocalTime now = localTimeOfSystem();
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "%02d%02d%04d%02d%02d%02d", now.day, now.month,
                static_cast<int>(now.year), now.hour, now.minute, now.second);
  return text.data();
}

// The files of one log, which the writer's thread begins one after another.
class FileSeries {
 public:
  FileSeries(std::string name, const TextFileSettings& settings) : settings_(settings) {
    names_.push_back(std::move(name));
  }

  // True if the name has the form in which only date and time change from file to file.
  static bool isDated(std::string_view name) {
    if (!name.ends_with(kSuffix) || name.size() < kStampDigits + kSuffix.size()) return false;
    const std::string_view stamp = name.substr(name.size() - kSuffix.size() - kStampDigits, kStampDigits);
    return std::all_of(stamp.begin(), stamp.end(), [](char c) { return c >= '0' && c <= '9'; });
  }

  // At most one file a second, because their names differ in the second. A file that cannot be created is
  // tried again with the next lines.
  std::unique_ptr<Storage> next() {
    const std::string& latest = names_.back();
    std::string name = latest.substr(0, latest.size() - kSuffix.size() - kStampDigits) + stampNow();
    name += kSuffix;
    if (name == latest) return nullptr;
    try {
      auto file = createStorage(pathOf(name), {settings_.groupMayRead});
      names_.push_back(std::move(name));
      removeOldest();
      return file;
    } catch (const Failure&) {
      return nullptr;
    }
  }

 private:
  void removeOldest() {
    while (settings_.filesMax > 0 && names_.size() > static_cast<std::size_t>(settings_.filesMax)) {
      std::error_code ignored;
      std::filesystem::remove(pathOf(names_.front()), ignored);
      names_.pop_front();
    }
  }

  TextFileSettings settings_;
  std::deque<std::string> names_;  // of the files kept, oldest first
};

}  // namespace

void LogTextFile::create(const std::string& name) {
  close();
  if (name.find('\0') != std::string::npos) throw Failure(52, "Bad file name or number");
  WriterPlan plan;
  plan.mark = markOf;
  if (settings_.bytesMax > 0 && FileSeries::isDated(name)) {
    plan.fileBytesMax = settings_.bytesMax;
    plan.nextFile = [series = FileSeries(name, settings_)]() mutable { return series.next(); };
  }
  writer_ = std::make_unique<BackgroundWriter>(createStorage(pathOf(name), {settings_.groupMayRead}),
                                               std::move(plan));
}

void LogTextFile::close() {
  if (!writer_) return;
  writer_->flushPatiently();
  earlier_ += writer_->losses();
  writer_.reset();
}

WriteLosses LogTextFile::losses() const {
  WriteLosses losses = earlier_;
  if (writer_) losses += writer_->losses();
  return losses;
}

}  // namespace quarnex
