// Replays or prints recordings (quarn replay).
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "quarn/commands.h"
#include "quarn/console.h"
#include "quarn/printable.h"
#include "quarn/utf8.h"
#include "recording/player/player.h"
#include "recording/printer/recording_printer.h"

namespace quarnex::tool {
namespace {

constexpr int kSame = 0;
constexpr int kDiffers = 1;
constexpr int kDamaged = kNotStarted;

struct ReplayOptions {
  std::vector<std::string> files;
  bool print = false;
};

int reportDamage(const std::string& file, const std::string& problem) {
  std::cout.flush();
  std::cerr << "quarn: " << printable(file) << ": " << problem << '\n';
  return kDamaged;
}

// "1:02:33", or "12 d 1:02:33".
std::string duration(std::int64_t seconds) {
  const std::int64_t days = seconds / 86400;
  char clock[16];
  std::snprintf(clock, sizeof clock, "%d:%02d:%02d", static_cast<int>(seconds / 3600 % 24),
                static_cast<int>(seconds / 60 % 60), static_cast<int>(seconds % 60));
  return (days > 0 ? std::to_string(days) + " d " : "") + clock;
}

std::string summary(const recording::ReplayResult& result, double elapsedSeconds) {
  const double elapsed = std::max(elapsedSeconds, 1e-6);
  char speed[96];
  std::snprintf(speed, sizeof speed, "%.3f s (%.0f steps/s, %.0f times as fast)", elapsed,
                static_cast<double>(result.steps) / elapsed, static_cast<double>(result.seconds) / elapsed);
  return counted(result.steps, "step") + ", " + counted(static_cast<std::size_t>(result.links), "link") +
         ", " + duration(std::max<std::int64_t>(result.seconds, 0)) + " of virtual time in " + speed;
}

int replay(const std::string& file, recording::RecordingReader& reader) {
  const auto start = std::chrono::steady_clock::now();
  const recording::ReplayResult result = recording::replay(reader);
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;

  if (result.mismatch) {
    std::cout << file << ": line " << result.mismatch->expected.number << " differs\n"
              << recording::reportOf(*result.mismatch);
    return kDiffers;
  }
  std::cout << file << ": " << (result.damage ? "no difference before the damaged line: " : "no difference: ")
            << summary(result, elapsed.count()) << '\n';
  return result.damage ? reportDamage(file, result.damage->what()) : kSame;
}

int print(recording::RecordingReader& reader) {
  recording::printRecording(reader, std::cout);
  return kSame;
}

int handle(const std::string& file, bool printing) {
  std::error_code ignored;
  if (std::filesystem::is_directory(pathOf(file), ignored))
    return reportDamage(file, "is a directory, not a recording");
  std::ifstream in(pathOf(file), std::ios::binary);
  if (!in) return reportDamage(file, "cannot be opened: " + std::generic_category().message(errno));
  try {
    recording::RecordingReader reader(in);
    return printing ? print(reader) : replay(file, reader);
  } catch (const recording::DamagedLine& damage) {
    return reportDamage(file, damage.what());
  }
}

}  // namespace

Command replayCommand() {
  const auto options = std::make_shared<ReplayOptions>();
  return {
      .name = "replay",
      .summary = "replay recordings to a fresh engine and compare its behaviour",
      .details = {},
      .statuses = {{kSame, "every recording replayed without a difference"},
                   {kDiffers, "a recording differs; the first difference is printed"},
                   {kDamaged,
                    "a recording is damaged or cannot be opened, or the command line is invalid; the damaged "
                    "line is named, and everything before it is replayed"},
                   {kOutputNotWritten, "standard output could not be written"}},
      .examples = {{"quarn replay site.jsonl", "check that the engine still behaves as it did at the site"},
                   {"quarn replay --print site.jsonl", "print what happened there, step by step"}},
      .arguments = {{.name = "FILE",
                     .placeholder = "",
                     .help = "recordings",
                     .store = appendTo(options->files),
                     .completion = Completion::Files,
                     .required = true,
                     .repeated = true},
                    {.name = "--print",
                     .placeholder = "",
                     .help = "print the recordings for people to read instead of replaying them",
                     .store = setFlag(options->print)}},
      .run = [options] {
        int status = kSame;
        for (const std::string& file : options->files)
          status = std::max(status, handle(file, options->print));
        return status;
      }};
}

}  // namespace quarnex::tool
