// Replays a recording strictly: compares each output of the engine with the next line and supplies the inputs
// behind that line.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "recording/format/line.h"
#include "recording/format/recording_reader.h"
#include "recording/format/service_model.h"
#include "recording/format/step_reader.h"
#include "recording/player/mismatch.h"
#include "recording/player/replay.h"

namespace quarnex::recording {

/// At the end of the file, a damaged line or the first mismatch, the replay ends. The engine then finishes
/// its current step: its operations succeed, and nothing is compared.
class StrictReplay final : public Replay {
 public:
  using Deliver = std::function<void(const Line& step)>;

  /// `deliver` delivers a step to the engine; nested steps are delivered inside `performed`. All arguments
  /// outlive this object.
  StrictReplay(RecordingReader& reader, ServiceModel& model, Deliver deliver);

  bool running() const { return running_; }

  /// Replays one step. If the next line does not begin a step, that is a mismatch.
  void replayStep();

  // Each compares an output of the engine with the next line.
  void traced(const TraceLine& output) override;
  Answer performed(const OperationLine& output) override;
  void takeInputs() override;
  void returned(const Value& result) override;
  void failed(const Failure& failure) override;

  bool nextIsFetch(SocketId socket) const override {
    return running_ && isEqual(line_, OperationLine{Operation::Fetch, socket, {}});
  }
  std::string hostOf(std::int32_t handle) const override;

  const std::optional<Mismatch>& mismatch() const { return mismatch_; }
  const std::optional<DamagedLine>& damage() const { return damage_; }
  std::size_t steps() const { return steps_; }

 private:
  struct OpenStep {
    NumberedLine line;
    StoredLines delivered;  // the same line
  };

  template <class Output>
  bool compare(const Output& output);
  void differ(std::string actual);
  void readLine();
  void nextOutput();
  void deliverStep();
  void playNested();
  Answer takeAnswer(const OperationLine& call);

  RecordingReader& reader_;
  ServiceModel& model_;
  Deliver deliver_;
  Line line_;  // the next one, while running
  bool running_ = true;
  std::vector<OpenStep>
      open_;  // the steps in progress, innermost last; the outermost stays until the next begins
  std::array<NumberedLine, kLinesBefore> before_;  // by line number
  std::size_t steps_ = 0;
  std::optional<Mismatch> mismatch_;
  std::optional<DamagedLine> damage_;
};

}  // namespace quarnex::recording
