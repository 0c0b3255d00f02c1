// Simulates a host's disk and the text files on it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include "quarnex/failure.h"
#include "services/text_file.h"

namespace quarnex::simulated {

/// Capacity and write failures. Takes every write until a field is changed.
struct Disk {
  static constexpr std::int16_t kFull = 61;  ///< number of the failure of a write without room
  std::size_t room = std::numeric_limits<std::size_t>::max();  ///< free bytes
  std::uint64_t failingWrite = 0;  ///< the write that is refused (1 = the next); 0 = none
  /// Runs before each line of a log is written: a slow disk stops the host meanwhile. Recordings wait until
  /// it is empty again.
  std::function<void()> beforeWrite;
  std::uint64_t removals = 0;  ///< how often all files were removed

  /// True if one write of so many bytes succeeds; it then takes their room.
  bool takes(std::size_t bytes) {
    const bool refused = failingWrite > 0 && --failingWrite == 0;
    if (refused || bytes > room) return false;
    room -= bytes;
    return true;
  }
  void repair() {
    room = std::numeric_limits<std::size_t>::max();
    failingWrite = 0;
    beforeWrite = nullptr;
  }
};

class MemoryFile final : public TextFile {
 public:
  /// `disk` outlives it. On a full disk no file can be created, and a line that does not fit is dropped.
  explicit MemoryFile(Disk& disk) : disk_(disk) {}
  void create(const std::string& name) override {
    if (disk_.room == 0) throw Failure(Disk::kFull, "Disk full");
    if (name.find('\0') != std::string::npos) throw Failure(52, "Bad file name or number");
    const std::size_t slash = name.rfind('/');
    if (slash != std::string::npos && !folders.contains(name.substr(0, slash)))
      throw Failure(76, "Path not found");
    name_ = name;
    text_ = &files[name_];
    text_->clear();
    open_ = true;
  }
  void write(std::string_view line) override {
    if (!open_ || text_ == nullptr) return;
    if (disk_.beforeWrite) disk_.beforeWrite();
    if (!disk_.takes(line.size())) {
      losses_ += {line.size(), 1, Disk::kFull};
      return;
    }
    *text_ += line;
    if (text_->size() > 2 * keptMax) text_->erase(0, text_->size() - keptMax);
  }
  void close() override { open_ = false; }
  WriteLosses losses() const override { return losses_; }

  /// Renames the file created last, open or not, and replaces a file of that name.
  void rename(const std::string& to) {
    if (text_ == nullptr) return;
    auto file = files.extract(name_);
    files.erase(to);
    file.key() = name_ = to;
    files.insert(std::move(file));
  }
  /// Removes all files. An open file receives nothing more.
  void removeAll() {
    files.clear();
    text_ = nullptr;
    ++disk_.removals;
  }

  /// A file that grows beyond twice so many bytes loses its older half.
  std::size_t keptMax = std::numeric_limits<std::size_t>::max() / 2;
  /// By name.
  std::map<std::string, std::string> files;
  /// Folders in which files can be created, besides the one of names without a "/".
  std::set<std::string> folders;

 private:
  Disk& disk_;
  WriteLosses losses_;
  std::string name_;             // of the file created last
  std::string* text_ = nullptr;  // its text among the files; nullptr if it was removed
  bool open_ = false;
};

}  // namespace quarnex::simulated
