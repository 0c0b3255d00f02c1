#include "recording/player/mismatch.h"

#include <algorithm>
#include <string_view>

#include "recording/format/text_codes.h"

namespace quarnex::recording {
namespace {

constexpr std::size_t kWidth = 400;  // bytes shown of a line
constexpr std::size_t kLead = 60;    // of these before the first one that differs
constexpr std::string_view kCut = "...";

std::string window(std::string_view text, std::size_t from) {
  std::string shown(from > 0 ? kCut : "");
  const std::string_view rest = text.substr(from);
  shown += shortened(rest, kWidth);
  if (rest.size() > kWidth) shown += kCut;
  return shown;
}

std::string row(std::string_view label, std::string_view number, std::string_view text) {
  std::string line = "  ";
  line += label;
  line.resize(12, ' ');
  line.append(8 - std::min<std::size_t>(number.size(), 8), ' ');
  line += number;
  line += "  ";
  line += text;
  line += '\n';
  return line;
}

std::string row(std::string_view label, const NumberedLine& line) {
  return row(label, std::to_string(line.number), window(terminalSafe(line.text), 0));
}

// Length in bytes of the common beginning, without a partial character.
std::size_t commonLength(std::string_view one, std::string_view other) {
  const auto common = static_cast<std::size_t>(std::ranges::mismatch(one, other).in1 - one.begin());
  return shortened(one, common).size();
}

std::size_t charactersIn(std::string_view text) {
  return static_cast<std::size_t>(std::ranges::count_if(
      text, [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0) != 0x80; }));
}

}  // namespace

std::string reportOf(const Mismatch& mismatch) {
  std::string report;
  for (const NumberedLine& line : mismatch.before) report += row("before", line);
  for (const NumberedLine& step : mismatch.steps) report += row("step", step);

  const std::string expected = terminalSafe(mismatch.expected.text);
  const std::string actual = terminalSafe(mismatch.actual);
  const std::size_t common = commonLength(expected, actual);
  const std::size_t from = common + kLead > kWidth ? shortened(expected, common - kLead).size() : 0;
  const std::size_t mark = charactersIn(expected.substr(from, common - from)) + (from > 0 ? kCut.size() : 0);
  report += row("expected", std::to_string(mismatch.expected.number), window(expected, from));
  report += row("actual", "", window(actual, from));
  report += row("", "", std::string(mark, ' ') + '^');
  return report;
}

}  // namespace quarnex::recording
