// Backlog: lines that wait to be written, bounded, and how much found no room among them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace quarnex::recording {

struct Backlog {
  std::string lines;
  std::uint64_t notKept = 0;  ///< bytes that came after these

  bool empty() const { return lines.empty() && notKept == 0; }
  void add(std::string_view more, std::size_t bytesMax) {
    if (notKept > 0 || lines.size() + more.size() > bytesMax) {
      notKept += more.size();
    } else {
      lines += more;
    }
  }
};

}  // namespace quarnex::recording
