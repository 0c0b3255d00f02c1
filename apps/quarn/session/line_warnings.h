// Prints warnings about numbered lines or texts, and groups the repeated ones.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <utility>

#include "quarn/console.h"

namespace quarnex::tool {

/// Ascending numbers of lines or texts.
struct NumberedRange {
  std::uint64_t first = 0, last = 0, count = 0;

  void add(std::uint64_t number);
  /// Returns "line 4", "lines 4 to 9", or "3 lines from 4 to 9" if some of them are not meant.
  std::string inWords(const std::string& noun) const;
};

/// The first warning of each kind appears at once. The next ones of that kind are counted and printed
/// together, as "lines 4 to 9: ..." or "7 lines from 4 to 20: ...", 10 seconds later or at the end.
class LineWarnings {
 public:
  LineWarnings(Console& console, std::string noun) : console_(console), noun_(std::move(noun)) {}

  /// Warns about the line or text `number`. `kind` is equal for warnings that differ in their numbers only.
  void add(std::uint64_t number, const std::string& kind, const std::string& words);
  /// Prints the groups that are due, or all of them.
  void printGroups(bool all);

 private:
  struct Group {
    NumberedRange numbers;  // not yet printed
    std::string words;      // of the last warning
    std::chrono::steady_clock::time_point printed;
  };

  void print(Group& group);

  Console& console_;
  std::string noun_;
  std::map<std::string, Group> groups_;
};

}  // namespace quarnex::tool
