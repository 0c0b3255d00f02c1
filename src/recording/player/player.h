// Replays a recording to a fresh engine and compares all that the engine does.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/records/library.h"
#include "recording/format/recording_reader.h"
#include "recording/player/replayed_engine.h"
#include "services/services.h"

namespace quarnex::recording {

struct NumberedLine {
  std::size_t number = 0;
  std::string text;
};

struct Mismatch {
  NumberedLine expected;             // the line of the recording
  std::string actual;                // the engine's output as a line, or kNothingMore
  std::vector<NumberedLine> steps;   // the steps in progress, the innermost last
  std::vector<NumberedLine> before;  // the lines before `expected`, at most kLinesBefore
};

constexpr std::size_t kLinesBefore = 10;

/// Stands for the engine's output if it ended the step instead.
constexpr std::string_view kNothingMore = "(nothing more: the step has ended)";

/// Describes the mismatch for people in several lines, each with its line feed. Very long lines are shown
/// around the first character that differs.
std::string reportOf(const Mismatch& mismatch);

struct ReplayResult {
  std::optional<Mismatch> mismatch;   // the first one; the replay ended there
  std::optional<DamagedLine> damage;  // the first damaged line; the replay ended there
  std::size_t lines = 0;              // replayed
  std::size_t steps = 0;              // host calls, ticks and events
  int links = 0;                      // in the engine's table at the end
  std::int64_t seconds = 0;           // from the first step to the last reading of the clock
};

/// Compares each output of the engine with the next line and supplies the inputs behind that line. The replay
/// ends at the end of the file, a damaged line or the first mismatch. The engine then finishes its current
/// step: its operations succeed, and nothing is compared.
class Player final : private Replay {
 public:
  /// `wrapper`, if given, stands between the engine and its services. Both arguments outlive the player.
  explicit Player(RecordingReader& reader, ServicesWrapper* wrapper = nullptr);

  /// False once the replay has ended.
  bool running() const { return running_; }
  /// Replays the next host call, tick or event, with all steps nested in it. If the next line does not begin
  /// a step, that is a mismatch.
  void replayStep();
  const ReplayResult& result();
  Library& library() { return engine_.library(); }

 private:
  struct OpenStep {
    NumberedLine line;
    StoredLines delivered;  // the same line
  };

  void take(const Line& output) override;
  Answer perform(const OperationLine& output) override;
  void takeInputs() override;
  bool nextIsFetch(SocketId socket) const override;

  Replay& takeFirstInputs();
  void readLine();
  void deliverStep();
  void replayNestedStep();
  bool compare(const Line& output);
  void differ(std::string actual);

  RecordingReader& reader_;
  ServiceModel model_;
  Line line_;  // the next one, while running
  bool running_ = true;
  // The steps in progress, innermost last; the outermost stays until the next begins.
  std::vector<OpenStep> open_;
  std::array<NumberedLine, kLinesBefore> before_;  // by line number
  std::optional<Instant> start_;                   // of the first step
  ReplayResult result_;
  ReplayedEngine engine_;
};

/// Replays the rest of the recording. Uses no file, socket or clock.
ReplayResult replay(RecordingReader& reader);

}  // namespace quarnex::recording
