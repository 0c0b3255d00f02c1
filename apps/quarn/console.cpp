#include "quarn/console.h"

#include <array>
#include <chrono>
#include <ctime>

#include "quarn/printable.h"

namespace quarnex::tool {
namespace {

std::string formatted(std::int64_t second, const char* format) {
  const std::time_t time = second;
  std::array<char, 40> text{};
  const std::tm* const local = std::localtime(&time);
  return {text.data(), std::strftime(text.data(), text.size(), format, local)};
}

}  // namespace

Console::Console(bool quiet, bool iso)
    : output_(kStandardError), terminal_(isTerminal(kStandardError)), quiet_(quiet), iso_(iso) {}

void Console::print(std::string_view words) {
  print(wallSecond(), words);
}

void Console::print(std::int64_t second, std::string_view words) {
  if (!quiet_) printLine(second, words);
}

void Console::printAlways(std::string_view words) {
  printLine(wallSecond(), words);
}

void Console::printLine(std::int64_t second, std::string_view words) {
  showProgress("");
  write((iso_ ? isoTime(second) : timeOfDay(second)) + ' ' + printable(words) + '\n');
}

void Console::showProgress(const std::string& words) {
  constexpr std::string_view kEraseLine = "\r\x1b[K";
  if (!terminal_ || quiet_ || words == progress_) return;
  progress_ = words;
  write(kEraseLine);
  write(printable(words));
}

// The other output has a thread of its own, so its line could be faster.
void Console::clearProgress() {
  constexpr std::chrono::milliseconds kPatience{100};
  if (progress_.empty()) return;
  showProgress("");
  output_.flush(std::chrono::steady_clock::now() + kPatience);
}

// If standard error is not read, later messages are dropped; links are not delayed and memory stays bounded.
void Console::write(std::string_view bytes) {
  constexpr std::size_t kUnwrittenBytesMax = std::size_t{1024} * 1024;
  if (output_.unwritten() < kUnwrittenBytesMax) output_.append(bytes);
}

std::string counted(std::uint64_t count, std::string_view noun) {
  return std::to_string(count).append(1, ' ').append(noun).append(count == 1 ? "" : "s");
}

std::int64_t wallSecond() {
  return std::time(nullptr);
}

std::string timeOfDay(std::int64_t second) {
  return formatted(second, "%H:%M:%S");
}

// strftime has no form of the zone with a colon.
std::string isoTime(std::int64_t second) {
  constexpr std::size_t kMinutesOfZone = 2;
  std::string time = formatted(second, "%Y-%m-%dT%H:%M:%S%z");
  return time.insert(time.size() - kMinutesOfZone, 1, ':');
}

}  // namespace quarnex::tool
