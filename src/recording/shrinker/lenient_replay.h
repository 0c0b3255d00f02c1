// Replays a recording leniently: supplies the recorded inputs wherever the engine makes the matching output,
// and compares nothing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

#include "recording/format/service_model.h"
#include "recording/format/step_reader.h"
#include "recording/player/replay.h"

namespace quarnex::recording {

/// For an engine that differs from the recorded one, or that replays fewer steps. After each output, the
/// engine gets the inputs behind the next recorded output of the same kind on the same instance. If there is
/// none, operations succeed and fetch nothing.
class LenientReplay final : public Replay {
 public:
  using Deliver = std::function<void(const Line& step)>;

  LenientReplay(ServiceModel& model, Deliver deliver) : model_(model), deliver_(std::move(deliver)) {}

  void replay(const RecordedStep& step);

  void traced(const TraceLine& output) override;
  Answer performed(const OperationLine& output) override;
  void takeInputs() override;
  void returned(const Value&) override { model_.letReadsSucceed(); }
  void failed(const Failure&) override { model_.letReadsSucceed(); }
  bool nextIsFetch(SocketId socket) const override;
  std::string hostOf(std::int32_t handle) const override;

 private:
  template <class Wanted>
  std::size_t find(Wanted&& wanted) const;
  /// Goes to the line at `to` and takes the properties and times on the way.
  void advance(std::size_t to);
  const Line& line(std::size_t at) const { return (*lines_)[at]; }
  void deliver();
  /// Index behind the nested step that begins at `at`.
  std::size_t behindNested(std::size_t at) const;

  ServiceModel& model_;
  Deliver deliver_;
  const StoredLines* lines_ = nullptr;  // of the step
  std::size_t next_ = 0;
  std::size_t end_ = 0;            // of the innermost step in progress
  std::vector<const Line*> open_;  // the steps in progress, innermost last
};

}  // namespace quarnex::recording
