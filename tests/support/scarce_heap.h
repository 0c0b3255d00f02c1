// ScarceHeap: takes the place of the program's heap and refuses pieces of memory.
#pragma once

namespace quarnex::test {

/// While it lives the `first`-th piece (from 1) that the engine asks for is refused, and with `allFurther`
/// every later one, too. What stubs ask for is given. One at a time.
class ScarceHeap {
 public:
  ScarceHeap(long first, bool allFurther);
  ~ScarceHeap();
  ScarceHeap(const ScarceHeap&) = delete;
  ScarceHeap& operator=(const ScarceHeap&) = delete;

  /// True if the last one alive has refused a piece.
  static bool refused();
};

}  // namespace quarnex::test
