// A course that gives an engine recorded inputs wherever it does what they belong to; nothing is compared.
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

/// An engine that does something else than the one that was recorded, or the same engine after fewer steps,
/// finds the inputs of each output behind the next one of its kind on the same instance. What has no such
/// place succeeds and fetches nothing.
class LooseCourse final : public Course {
 public:
  using Deliver = std::function<void(const Line& step)>;

  LooseCourse(PlainModel& model, Deliver deliver) : model_(model), deliver_(std::move(deliver)) {}

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
  /// Behind the nested step that begins at `at`.
  std::size_t behindNested(std::size_t at) const;

  PlainModel& model_;
  Deliver deliver_;
  const StoredLines* lines_ = nullptr;  // of the step
  std::size_t next_ = 0;
  std::size_t end_ = 0;            // of the innermost step that runs
  std::vector<const Line*> open_;  // the steps that run, innermost last
};

}  // namespace quarnex::recording
