#include "platform/simulated/memory_file.h"

#include "quarnex/failure.h"

namespace quarnex::simulated {

void MemoryFile::create(const std::string& name) {
  if (room == 0) throw Failure(61, "Disk full");
  if (name.find('\0') != std::string::npos) throw Failure(52, "Bad file name or number");
  name_ = name;
  files[name_].clear();
  open_ = true;
}

void MemoryFile::write(std::string_view line) {
  const auto file = files.find(name_);
  if (!open_ || file == files.end()) return;
  if (beforeWrite) beforeWrite();
  const bool refused = failingWrite > 0 && --failingWrite == 0;
  if (refused || line.size() > room) {
    ++linesDropped_;
    return;
  }
  file->second += line;
  room -= line.size();
}

}  // namespace quarnex::simulated
