// Replays steps of a recording leniently to a fresh engine and records what that engine does.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "recording/format/recording_reader.h"
#include "recording/player/replayed_engine.h"
#include "recording/shrinker/checker.h"

namespace quarnex::recording {

/// Compares nothing: the engine may differ from the recorded one, or replay fewer steps. After each output,
/// it gets the inputs behind the next recorded output of the same kind on the same instance. If there is
/// none, operations succeed and fetch nothing.
class Reproduction final : private Replay {
 public:
  /// The recording begins with this offset of local time, in seconds.
  Reproduction(std::int32_t utcOffset, const MakeChecker& makeChecker)
      : model_(utcOffset), checker_(makeChecker(recorded_)), engine_(*this, model_, checker_.get()) {}

  /// Replays one step. Returns the lines recorded during it, valid until the next call.
  const std::string& replay(const RecordedStep& step);

  /// The first line of the new recording.
  const std::string& header() const { return header_; }
  std::optional<Finding> finding() { return checker_->finding(); }
  Library& library() { return engine_.library(); }

  /// All state of the links with these indexes, and of the library, that determines the engine's future
  /// behaviour, to compare two moments. Deadlines are absolute or, if `now` is given, the seconds left; all
  /// passed deadlines are then equal.
  std::string stateOf(std::span<const std::int16_t> links, std::optional<Instant> now = std::nullopt);
  /// Only the state that decides each link's next transition, without contents and counts of its texts.
  std::string controlStateOf(std::span<const std::int16_t> links, Instant now);

 private:
  void take(const Line& output) override;
  Answer perform(const OperationLine& output) override;
  void takeInputs() override;
  bool nextIsFetch(SocketId socket) const override;

  const Line& line(std::size_t at) const { return (*lines_)[at]; }
  template <class Wanted>
  std::size_t find(const Wanted& wanted) const;
  /// Goes to the line at `to` and takes the properties and times on the way.
  void advance(std::size_t to);
  /// Delivers the step at `next_`, up to `end_`.
  void deliver();
  /// Index behind the nested step that begins at `at`.
  std::size_t behindNested(std::size_t at) const;

  ServiceModel model_;
  const StoredLines* lines_ = nullptr;  // of the step
  std::size_t next_ = 0;
  std::size_t end_ = 0;  // of the innermost step in progress
  std::shared_ptr<MemorySink> recorded_ = std::make_shared<MemorySink>();
  std::unique_ptr<Checker> checker_;
  ReplayedEngine engine_;
  std::string header_{recorded_->text()};
};

}  // namespace quarnex::recording
