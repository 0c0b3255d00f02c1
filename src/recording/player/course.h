// Course: what comes of the calls that a played engine makes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "quarnex/failure.h"
#include "recording/format/line.h"
#include "recording/player/output.h"
#include "services/observer.h"

namespace quarnex::recording {

/// How a service call ended, as recorded.
struct Answer {
  std::optional<Failure> failure;
  std::string fetched;
};

class Course {
 public:
  virtual ~Course() = default;

  virtual void traced(const Traced& output) = 0;
  /// Plays what is nested in the call and takes its answer. Then the caller brings the plain model up to date
  /// and calls `takeInputs`.
  virtual Answer performed(const Performed& output) = 0;
  virtual void takeInputs() = 0;
  /// How a host call ended.
  virtual void returned(const Value& result) = 0;
  virtual void failed(const Failure& failure) = 0;

  /// Whether the next thing that is to happen on this instance is that it is fetched from.
  virtual bool nextIsFetch(SocketId socket) const = 0;
  /// The remote host that came with the handle of a call that is being accepted; "" for any other handle.
  virtual std::string hostOf(std::int32_t handle) const = 0;
};

}  // namespace quarnex::recording
