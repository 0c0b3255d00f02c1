#include "quarn/console.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "quarn/printable.h"
#include "quarn/process_setup.h"

namespace quarnex::tool {
namespace {

constexpr int kRowsMin = 4;  // of a terminal that can spare one

// Control sequences of a terminal.
constexpr std::string_view kSaveCursor = "\x1b\x37", kRestoreCursor = "\x1b\x38";
constexpr std::string_view kRowBelow = "\x1b\x44", kRowAbove = "\x1b[A";  // in the same column
constexpr std::string_view kEmptyLastRow = "\x1b[999;1H\x1b[2K";

std::string shortened(const std::string& words, std::size_t width) {
  constexpr std::string_view kRest = "...";
  if (words.size() <= width || width < kRest.size()) return words.substr(0, width);
  return words.substr(0, width - kRest.size()).append(kRest);
}

std::string formatted(std::int64_t second, const char* format) {
  const std::time_t time = second;
  std::array<char, 40> text{};
  const std::tm* const local = std::localtime(&time);
  return {text.data(), std::strftime(text.data(), text.size(), format, local)};
}

// "+01:00". strftime has no form with a colon, and its form is not the same on all systems.
std::string zoneOf(std::int64_t second) {
  using namespace std::chrono;
  const std::time_t time = second;
  const std::tm* const local = std::localtime(&time);
  const sys_days day = year(local->tm_year + 1900) / (local->tm_mon + 1) / local->tm_mday;
  const auto shown = day + hours(local->tm_hour) + minutes(local->tm_min) + seconds(local->tm_sec);
  const auto ahead = duration_cast<minutes>(shown.time_since_epoch() - seconds(second));
  const hh_mm_ss zone(ahead);
  std::array<char, 16> text{};
  std::snprintf(text.data(), text.size(), "%c%02d:%02d", zone.is_negative() ? '-' : '+',
                static_cast<int>(zone.hours().count()), static_cast<int>(zone.minutes().count()));
  return text.data();
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
  if (!typedText_) showProgress("");
  write((iso_ ? isoTime(second) : timeOfDay(second)) + ' ' + printable(words) + '\n');
}

void Console::keepTypedText() {
  const char* const type = std::getenv("TERM");
  const bool simple = type == nullptr || *type == '\0' || std::string_view(type) == "dumb";
  typedText_ = true;
  terminal_ = terminal_ && !simple && terminalSize(kStandardError).rows >= kRowsMin;
}

void Console::showProgress(const std::string& words) {
  if (!terminal_ || quiet_ || words == progress_) return;
  progress_ = words;
  const auto width = static_cast<std::size_t>(terminalSize(kStandardError).columns - 1);
  const std::string shown = shortened(printable(words), width);
  typedText_ ? showInLastRow(shown) : write("\r\x1b[K" + shown);
}

// The cursor keeps its place: a row is free below it, before the region that scrolls ends above the last row.
void Console::showInLastRow(const std::string& words) {
  const int rows = words.empty() ? 0 : terminalSize(kStandardError).rows;
  std::string bytes;
  if (rows != rowsReserved_ && rowsReserved_ > 0) bytes += kFreeLastRow;
  if (rows != rowsReserved_ && rows > 0) {
    bytes += kRowBelow;
    bytes += kSaveCursor;
    bytes += "\x1b[1;" + std::to_string(rows - 1) + 'r';
    bytes += kRestoreCursor;
    bytes += kRowAbove;
  }
  rowsReserved_ = rows;
  freeLastRowAfterSignal(rows > 0);
  if (rows > 0) bytes.append(kSaveCursor).append(kEmptyLastRow).append(words).append(kRestoreCursor);
  write(bytes);
}

// The other output has a thread of its own, so its line could be faster.
void Console::clearProgress() {
  constexpr std::chrono::milliseconds kPatience{100};
  if (progress_.empty() || typedText_) return;
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

std::string isoTime(std::int64_t second) {
  return formatted(second, "%Y-%m-%dT%H:%M:%S") + zoneOf(second);
}

}  // namespace quarnex::tool
