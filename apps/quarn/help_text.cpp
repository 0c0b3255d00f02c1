#include "quarn/help_text.h"

#include <algorithm>
#include <sstream>
#include <string_view>

namespace quarnex::tool {
namespace {

constexpr std::size_t kLineWidth = 100;

// Breaks a paragraph into lines; those after the first begin with `indent` spaces.
std::string wrapped(std::string_view first, const std::string& paragraph, std::size_t indent) {
  std::string lines(first);
  std::size_t column = first.size();
  std::istringstream words(paragraph);
  for (std::string word; words >> word;) {
    const bool begins = column == 0 || column == indent;
    if (!begins && column + 1 + word.size() > kLineWidth) {
      lines += '\n' + std::string(indent, ' ');
      column = indent;
    } else if (!begins) {
      lines += ' ';
      ++column;
    }
    lines += word;
    column += word.size();
  }
  return lines + '\n';
}

std::string examplesOf(const Command& command) {
  std::size_t width = 0;
  for (const Example& example : command.examples) {
    if (!example.effect.empty()) width = std::max(width, example.line.size() + 4);
  }
  std::string lines;
  for (const Example& example : command.examples) {
    lines += "  " + example.line;
    if (!example.effect.empty()) lines += std::string(width - example.line.size(), ' ') + example.effect;
    lines += '\n';
  }
  return lines;
}

}  // namespace

std::string helpFooter(const Command& command) {
  std::string text;
  for (const std::string& paragraph : command.details) text += wrapped("", paragraph, 0) + '\n';
  if (!command.statuses.empty()) {
    text += "Exit status:\n";
    for (const ExitStatus& status : command.statuses)
      text += wrapped("  " + std::to_string(status.status) + "  ", status.meaning, 5);
    text += '\n';
  }
  if (!command.examples.empty()) text += "Examples:\n" + examplesOf(command);
  while (!text.empty() && text.back() == '\n') text.pop_back();
  return text;
}

}  // namespace quarnex::tool
