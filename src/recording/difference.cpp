#include "recording/difference.h"

#include <algorithm>
#include <string_view>

namespace quarnex::recording {
namespace {

constexpr std::size_t kWidth = 400;  // characters shown of a line
constexpr std::size_t kLead = 60;    // of these before the place that differs

std::string shortened(std::string_view text, std::size_t from = 0) {
  std::string shown = from > 0 ? "..." : "";
  shown += text.substr(from, kWidth);
  if (text.size() - from > kWidth) shown += "...";
  return shown;
}

std::string labelled(std::string label, std::string_view rest) {
  label.resize(std::max<std::size_t>(label.size(), 10), ' ');
  return "  " + label + std::string(rest) + "\n";
}

std::string numbered(std::string_view label, const NumberedLine& line) {
  const std::string number = std::to_string(line.number);
  return labelled(std::string(label), std::string(8 - std::min<std::size_t>(number.size(), 8), ' ') + number +
                                          "  " + shortened(line.text));
}

std::size_t commonLength(std::string_view one, std::string_view other) {
  return static_cast<std::size_t>(std::ranges::mismatch(one, other).in1 - one.begin());
}

}  // namespace

std::string reportOf(const Difference& difference) {
  std::string report;
  for (const NumberedLine& line : difference.before) report += numbered("before", line);
  for (const NumberedLine& step : difference.steps) report += numbered("step", step);
  const std::size_t common = commonLength(difference.expected.text, difference.actual);
  const std::size_t from = common + kLead > kWidth ? common - kLead : 0;
  const std::size_t mark = common - from + (from > 0 ? 3 : 0);
  report += labelled("expected", shortened(difference.expected.text, from));
  report += labelled("actual", shortened(difference.actual, from));
  report += labelled("", std::string(mark, ' ') + "^");
  return report;
}

}  // namespace quarnex::recording
