#include "quarn/console.h"

#include <unistd.h>

#include <array>
#include <ctime>

namespace quarnex::tool {
namespace {

std::string printable(std::string_view words) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string shown;
  for (const char c : words) {
    const auto code = static_cast<unsigned char>(c);
    if (code >= 32 && code != 127) {
      shown += c;
    } else {
      shown += "\\x";
      shown += kDigits[code / 16];
      shown += kDigits[code % 16];
    }
  }
  return shown;
}

}  // namespace

Console::Console() : output_(STDERR_FILENO), terminal_(isatty(STDERR_FILENO) == 1) {}

void Console::say(std::string_view words) {
  say(timeOfDay(wallSecond()), words);
}

void Console::say(std::string_view timeOfDay, std::string_view words) {
  showProgress("");
  write(std::string(timeOfDay) + ' ' + printable(words) + '\n');
}

void Console::showProgress(const std::string& words) {
  constexpr std::string_view kEraseLine = "\r\x1b[K";
  if (!terminal_ || words == progress_) return;
  progress_ = words;
  write(kEraseLine);
  write(words);
}

// A reader that does not read costs people the later lines, not the links their time nor the process its
// memory.
void Console::write(std::string_view bytes) {
  constexpr std::size_t kWaitingMax = std::size_t{1024} * 1024;
  if (output_.waiting() < kWaitingMax) output_.append(bytes);
}

std::int64_t wallSecond() {
  return std::time(nullptr);
}

std::string timeOfDay(std::int64_t second) {
  const std::time_t time = second;
  std::tm local{};
  std::array<char, 9> text{};
  localtime_r(&time, &local);
  return {text.data(), std::strftime(text.data(), text.size(), "%H:%M:%S", &local)};
}

}  // namespace quarnex::tool
