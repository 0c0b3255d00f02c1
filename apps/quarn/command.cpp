#include "quarn/command.h"

#include <charconv>
#include <stdexcept>

namespace quarnex::tool {

Argument::Store storeIn(std::string& value) {
  return [&value](const std::string& text) { value = text; };
}

Argument::Store storeIn(std::optional<std::string>& value) {
  return [&value](const std::string& text) { value = text; };
}

Argument::Store appendTo(std::vector<std::string>& values) {
  return [&values](const std::string& text) { values.push_back(text); };
}

Argument::Store setFlag(bool& flag) {
  return [&flag](const std::string&) { flag = true; };
}

std::uint64_t wholeNumber(const std::string& text, std::uint64_t low, std::uint64_t high) {
  std::uint64_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, number);
  if (error == std::errc() && rest == end && number >= low && number <= high) return number;
  throw std::invalid_argument('"' + text + "\": give a whole number from " + std::to_string(low) + " to " +
                              std::to_string(high));
}

}  // namespace quarnex::tool
