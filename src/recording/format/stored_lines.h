// Stores lines together with the texts and values that they refer to.
#pragma once

#include <cstddef>
#include <forward_list>
#include <string>
#include <vector>

#include "recording/format/line.h"

namespace quarnex::recording {

class StoredLines {
 public:
  StoredLines() = default;
  StoredLines(StoredLines&&) = default;
  StoredLines& operator=(StoredLines&&) = default;

  /// Copies the line and all that it refers to.
  void add(const Line& line);

  bool empty() const { return lines_.empty(); }
  std::size_t size() const { return lines_.size(); }
  const Line& front() const { return lines_.front(); }
  const Line& operator[](std::size_t at) const { return lines_[at]; }
  auto begin() const { return lines_.begin(); }
  auto end() const { return lines_.end(); }

 private:
  class Copier;

  std::vector<Line> lines_;
  std::forward_list<std::string> texts_;
  std::forward_list<std::vector<Value>> values_;
};

}  // namespace quarnex::recording
