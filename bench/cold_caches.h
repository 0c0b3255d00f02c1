// Empties the processor's caches of what was in them.
#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
#include <vector>

namespace quarnex::bench {

class ColdCaches {
 public:
  void make() {
    for (std::size_t i = 0; i < other_.size(); i += kLine) ++other_[i];
    benchmark::ClobberMemory();
  }

 private:
  static constexpr std::size_t kLine = 64;
  std::vector<unsigned char> other_ =
      std::vector<unsigned char>(std::size_t{96} << 20);  // larger than any of them
};

}  // namespace quarnex::bench
