#include "platform/simulated/memory_file.h"

#include <utility>

#include "quarnex/failure.h"

namespace quarnex::simulated {

void MemoryFile::create(const std::string& name) {
  if (disk_.room == 0) throw Failure(61, "Disk full");
  if (name.find('\0') != std::string::npos) throw Failure(52, "Bad file name or number");
  name_ = name;
  files[name_].clear();
  open_ = true;
}

void MemoryFile::write(std::string_view line) {
  const auto file = files.find(name_);
  if (!open_ || file == files.end()) return;
  if (disk_.beforeWrite) disk_.beforeWrite();
  if (disk_.takes(line.size())) {
    file->second += line;
    if (file->second.size() > 2 * keptMax) file->second.erase(0, file->second.size() - keptMax);
  } else {
    ++linesDropped_;
  }
}

void MemoryFile::rename(const std::string& to) {
  auto file = files.extract(name_);
  if (file.empty()) return;
  files.erase(to);
  file.key() = name_ = to;
  files.insert(std::move(file));
}

void MemoryFile::removeAll() {
  files.clear();
  ++disk_.removals;
}

}  // namespace quarnex::simulated
