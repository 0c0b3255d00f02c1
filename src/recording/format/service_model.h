// The services' answers during a replay: the values last set, unless a line of the recording says otherwise.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

#include "quarnex/failure.h"
#include "recording/format/line.h"
#include "services/plain_services.h"

namespace quarnex::recording {

class ServiceModel : public PlainServices {
 public:
  explicit ServiceModel(std::int32_t utcOffset) { offset = utcOffset; }

  using PlainServices::create;
  /// Returns a fresh, closed instance; references to an older one of this identifier refer to it, too.
  PlainSocket& create(SocketId socket) { return sockets_[socket] = PlainSocket{}; }
  /// nullptr if it was never created.
  PlainSocket* find(SocketId socket) {
    const auto found = sockets_.find(socket);
    return found == sockets_.end() ? nullptr : &found->second;
  }

  // The effects of lines. Lines about instances that were never created are ignored.
  void beginStep(const Line& step) {
    if (const auto* event = std::get_if<EventLine>(&step)) {
      if (PlainSocket* socket = find(event->socket)) socket->follow(event->event, event->code);
    }
    const StepStart& start = *stepStartOf(step);
    setClock(start.at, start.utcOffset);
  }
  /// Takes a property, a time or the failure of a read. False for any other line.
  bool takeInput(const Line& line) {
    const auto* failed = std::get_if<FailedLine>(&line);
    if (const auto* property = std::get_if<PropertyLine>(&line)) {
      setProperty(*property);
    } else if (const auto* clock = std::get_if<NowLine>(&line)) {
      setClock(clock->at, clock->utcOffset);
    } else if (failed != nullptr && isRead(failed->operation)) {
      failing_.try_emplace({failed->operation, failed->socket}, failed->number,
                           std::string(failed->description));
    } else {
      return false;
    }
    return true;
  }
  /// Reads succeed again.
  void letReadsSucceed() { failing_.clear(); }

  /// Throws the failure that a line gave to this read, if any.
  void read(Operation property, SocketId socket) const {
    if (failing_.empty()) return;
    const auto found = failing_.find({property, socket});
    if (found != failing_.end()) throw Failure(found->second);
  }

  std::int64_t shift = 0;  // seconds by which the clock is ahead of the recording's

 private:
  void setClock(Instant at, std::optional<std::int32_t> newUtcOffset) {
    time.second = at.second + shift;
    offset = newUtcOffset.value_or(offset);
  }
  void setProperty(const PropertyLine& line) {
    const auto* number = std::get_if<std::int32_t>(&line.value);
    if (line.operation == Operation::Period) milliseconds = static_cast<std::int16_t>(*number);
    PlainSocket* socket = shapeOf(line.operation).onSocket ? find(line.socket) : nullptr;
    if (socket == nullptr) return;
    if (line.operation == Operation::BytesWaiting) {
      socket->reportedBytes = *number;
    } else if (number != nullptr) {
      socket->number(line.operation) = *number;
    } else {
      socket->text(line.operation) = std::get<std::string_view>(line.value);
    }
  }

  std::map<SocketId, PlainSocket> sockets_;
  std::map<std::pair<Operation, SocketId>, Failure> failing_;
};

}  // namespace quarnex::recording
