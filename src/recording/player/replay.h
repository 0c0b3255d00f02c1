// Receives the outputs of a replayed engine and supplies the recorded answers to its service calls.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "quarnex/failure.h"
#include "recording/format/line.h"
#include "services/observer.h"

namespace quarnex::recording {

/// The recorded result of an operation.
struct Answer {
  std::optional<Failure> failure;
  std::string fetched;
};

/// The answer that `line` gives to the operation before it, if it is one.
inline std::optional<Answer> answerIn(const Line& line, const OperationLine& call) {
  const auto* failed = std::get_if<FailedLine>(&line);
  if (failed != nullptr && failed->operation == call.operation && failed->socket == call.socket)
    return Answer{Failure(failed->number, std::string(failed->description)), ""};
  const auto* fetched = std::get_if<FetchedLine>(&line);
  if (fetched != nullptr && call.operation == Operation::Fetch && fetched->socket == call.socket)
    return Answer{std::nullopt, std::string(fetched->bytes)};
  return std::nullopt;
}

/// The remote host of the incoming call, if `step` is one with this handle.
inline std::string_view hostIn(const Line& step, std::int32_t handle) {
  const auto* event = std::get_if<EventLine>(&step);
  return event != nullptr && event->handle == handle ? event->remoteHost : "";
}

class Replay {
 public:
  virtual ~Replay() = default;

  virtual void traced(const TraceLine& output) = 0;
  /// Replays the steps nested in the operation and returns its answer. The caller then updates the service
  /// model and calls `takeInputs`.
  virtual Answer performed(const OperationLine& output) = 0;
  virtual void takeInputs() = 0;
  /// A host call returned.
  virtual void returned(const Value& result) = 0;
  virtual void failed(const Failure& failure) = 0;

  /// True if a fetch from this instance is the next output.
  virtual bool nextIsFetch(SocketId socket) const = 0;
  /// The remote host of the incoming call with this handle; "" if there is none in the current steps.
  virtual std::string hostOf(std::int32_t handle) const = 0;
};

}  // namespace quarnex::recording
