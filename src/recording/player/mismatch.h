// The first output of an engine that is not the one recorded, and how it is told.
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

struct Difference {
  NumberedLine expected;             // the line of the recording
  std::string actual;                // what the engine did instead, written like a line
  std::vector<NumberedLine> steps;   // the step it belongs to, last; those in which it is nested before it
  std::vector<NumberedLine> before;  // the lines that stand before it, at most kLinesBefore
};

constexpr std::size_t kLinesBefore = 10;

/// What an engine does instead that has come to the end of a step.
constexpr std::string_view kNothingMore = "(nothing more: the step has ended)";

/// For people: several lines, each with its line end. Very long lines are shown around the place that
/// differs.
std::string reportOf(const Difference& difference);

}  // namespace quarnex::recording
