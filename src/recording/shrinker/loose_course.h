// A course that gives an engine recorded inputs wherever it does what they belong to; nothing is compared.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <utility>
#include <vector>

#include "recording/format/plain_model.h"
#include "recording/player/course.h"

namespace quarnex::recording {

/// An engine that does something else than the one that was recorded, or the same engine after fewer steps,
/// finds the inputs of each output behind the next one of its kind on the same instance. What has no such
/// place succeeds and fetches nothing.
class LooseCourse final : public Course {
 public:
  using Deliver = std::function<void(const Line& step)>;

  LooseCourse(PlainModel& model, Deliver deliver) : model_(model), deliver_(std::move(deliver)) {}

  /// Delivers the step that `lines` begin with. The clock reads `shift` seconds later than they say.
  void play(std::span<const Line> lines, std::int64_t shift);

  void traced(const Traced& output) override;
  Answer performed(const Performed& output) override;
  void takeInputs() override;
  void returned(const Value&) override { model_.letSucceed(); }
  void failed(const Failure&) override { model_.letSucceed(); }
  bool nextIsFetch(SocketId socket) const override;
  std::string hostOf(std::int32_t handle) const override;

 private:
  template <class Wanted>
  std::size_t find(Wanted&& wanted) const;
  /// Goes to the line at `to` and takes the facts on the way: what properties read, what the clock reads.
  void advance(std::size_t to);
  void takeFact(const Line& line);
  void setClock(const Line& line);
  void deliver();
  /// Behind the nested step that begins at `at`.
  std::size_t behindNested(std::size_t at) const;

  PlainModel& model_;
  Deliver deliver_;
  std::span<const Line> lines_;
  std::size_t next_ = 0;
  std::size_t end_ = 0;  // of the innermost step that runs
  std::int64_t shift_ = 0;
  std::vector<const Line*> open_;  // the steps that run, innermost last
};

}  // namespace quarnex::recording
