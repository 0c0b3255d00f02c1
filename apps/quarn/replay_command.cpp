#include "quarn/replay_command.h"

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

#include "recording/player/player.h"
#include "recording/printer/recording_printer.h"

namespace quarnex::tool {
namespace {

constexpr int kPlays = 0;
constexpr int kDiffers = 1;
constexpr int kDamaged = 2;

struct ReplayOptions {
  std::vector<std::string> files;
  bool print = false;
};

int complain(const std::string& file, const std::string& words) {
  std::cout.flush();
  std::cerr << "quarn: " << file << ": " << words << '\n';
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

std::string counted(std::size_t count, const char* noun) {
  return std::to_string(count) + ' ' + noun + (count == 1 ? "" : "s");
}

std::string summary(const recording::PlayResult& result, double elapsedSeconds) {
  const double elapsed = std::max(elapsedSeconds, 1e-6);
  char speed[96];
  std::snprintf(speed, sizeof speed, "%.3f s (%.0f steps/s, %.0f times as fast)", elapsed,
                static_cast<double>(result.steps) / elapsed, static_cast<double>(result.seconds) / elapsed);
  return counted(result.steps, "step") + ", " + counted(static_cast<std::size_t>(result.links), "link") +
         ", " + duration(std::max<std::int64_t>(result.seconds, 0)) + " of virtual time in " + speed;
}

int replay(const std::string& file, recording::RecordingReader& reader) {
  const auto start = std::chrono::steady_clock::now();
  const recording::PlayResult result = recording::play(reader);
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;

  if (result.difference) {
    std::cout << file << ": line " << result.difference->expected.number << " differs\n"
              << recording::reportOf(*result.difference);
    return kDiffers;
  }
  std::cout << file << ": " << (result.damage ? "no difference up to there: " : "no difference: ")
            << summary(result, elapsed.count()) << '\n';
  return result.damage ? complain(file, result.damage->what()) : kPlays;
}

int print(recording::RecordingReader& reader) {
  recording::RecordingPrinter(reader, std::cout).print();
  return kPlays;
}

int handle(const std::string& file, bool printing) {
  std::error_code ignored;
  if (std::filesystem::is_directory(file, ignored)) return complain(file, "is a directory, not a recording");
  std::ifstream in(file, std::ios::binary);
  if (!in) return complain(file, "cannot be opened: " + std::generic_category().message(errno));
  try {
    recording::RecordingReader reader(in);
    return printing ? print(reader) : replay(file, reader);
  } catch (const recording::DamagedLine& damage) {
    return complain(file, damage.what());
  }
}

}  // namespace

void addReplayCommand(CLI::App& app, int& exitStatus) {
  const auto options = std::make_shared<ReplayOptions>();
  CLI::App& command =
      *app.add_subcommand("replay", "play recordings to a fresh engine and compare what it does");
  command.add_option("FILE", options->files, "recordings")->required()->type_name("");
  command.add_flag("--print", options->print, "show the recordings for people instead of playing them");
  command.footer(
      "Exit status: 0 every recording plays without a difference, 1 one differs (the first difference is\n"
      "shown), 2 one is damaged (its line is named; everything before it is played).\n\n"
      "Examples:\n"
      "  quarn replay site.jsonl             does the engine still do what it did at the site?\n"
      "  quarn replay --print site.jsonl     what happened there, step by step");
  command.callback([options, &exitStatus] {
    for (const std::string& file : options->files)
      exitStatus = std::max(exitStatus, handle(file, options->print));
  });
}

}  // namespace quarnex::tool
