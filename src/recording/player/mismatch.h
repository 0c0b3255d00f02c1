// The first mismatch between a recording and its replay, with its report.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace quarnex::recording {

struct NumberedLine {
  std::size_t number = 0;
  std::string text;
};

struct Mismatch {
  NumberedLine expected;             // the line of the recording
  std::string actual;                // the engine's output as a line, or kNothingMore
  std::vector<NumberedLine> steps;   // the steps in progress, the innermost last
  std::vector<NumberedLine> before;  // the lines before `expected`, at most kLinesBefore
};

constexpr std::size_t kLinesBefore = 10;

/// Stands for the engine's output if it ended the step instead.
constexpr std::string_view kNothingMore = "(nothing more: the step has ended)";

/// Describes the mismatch for people in several lines, each with its line feed. Very long lines are shown
/// around the first character that differs.
std::string reportOf(const Mismatch& mismatch);

}  // namespace quarnex::recording
