// A recording as an engine meets it: every output is compared with the next line, and the inputs behind it
// are taken.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "recording/format/line.h"
#include "recording/format/plain_model.h"
#include "recording/format/recording_reader.h"
#include "recording/format/stored_lines.h"
#include "recording/player/course.h"
#include "recording/player/mismatch.h"

namespace quarnex::recording {

/// After the end of the file, a damaged line or the first difference nothing is compared any more: operations
/// succeed, and the engine may finish what it is doing.
class Script final : public Course {
 public:
  using Deliver = std::function<void(const Line& step)>;

  /// `deliver` brings a step to the engine; nested ones are delivered from inside `performed`. All outlive
  /// the script.
  Script(RecordingReader& reader, PlainModel& model, Deliver deliver);

  bool playing() const { return playing_; }

  /// Plays the step that stands next, and one only; anything else that stands there is a difference.
  void playStep();

  // All compare what the engine does with the next line.
  void traced(const TraceLine& output) override;
  Answer performed(const OperationLine& output) override;
  void takeInputs() override;
  void returned(const Value& result) override;
  void failed(const Failure& failure) override;

  bool nextIsFetch(SocketId socket) const override {
    return playing_ && isEqual(line_, OperationLine{Operation::Fetch, socket, {}});
  }
  std::string hostOf(std::int32_t handle) const override;

  const std::optional<Difference>& difference() const { return difference_; }
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
  PlainModel& model_;
  Deliver deliver_;
  Line line_;  // the next one, while playing
  bool playing_ = true;
  std::vector<OpenStep>
      open_;  // the step that runs, innermost last; the last one stays until the next begins
  std::array<NumberedLine, kLinesBefore> before_;  // by line number
  std::size_t steps_ = 0;
  std::optional<Difference> difference_;
  std::optional<DamagedLine> damage_;
};

}  // namespace quarnex::recording
