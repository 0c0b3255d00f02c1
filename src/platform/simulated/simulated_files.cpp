#include "platform/simulated/simulated_files.h"

#include <utility>

#include "quarnex/failure.h"

namespace quarnex::simulated {

void MemoryFile::create(const std::string& name) {
  if (disk_.room == 0) throw Failure(61, "Disk full");
  if (name.find('\0') != std::string::npos) throw Failure(52, "Bad file name or number");
  const std::size_t slash = name.rfind('/');
  if (slash != std::string::npos && !folders.contains(name.substr(0, slash)))
    throw Failure(76, "Path not found");
  name_ = name;
  text_ = &files[name_];
  text_->clear();
  open_ = true;
}

void MemoryFile::write(std::string_view line) {
  if (!open_ || text_ == nullptr) return;
  if (disk_.beforeWrite) disk_.beforeWrite();
  if (!disk_.takes(line.size())) return;
  *text_ += line;
  if (text_->size() > 2 * keptMax) text_->erase(0, text_->size() - keptMax);
}

void MemoryFile::rename(const std::string& to) {
  if (text_ == nullptr) return;
  auto file = files.extract(name_);
  files.erase(to);
  file.key() = name_ = to;
  files.insert(std::move(file));
}

void MemoryFile::removeAll() {
  files.clear();
  text_ = nullptr;
  ++disk_.removals;
}

}  // namespace quarnex::simulated
