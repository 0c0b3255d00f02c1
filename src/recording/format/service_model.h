// The services' answers during a replay: the values last set, unless a line of the recording says otherwise.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <utility>

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

  // The effects of lines. A line about an instance that was never created has none.
  void beginStep(const Line& step);
  /// Takes a property, a time or the failure of a read. False for any other line.
  bool takeInput(const Line& line);
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
  void setClock(Instant at, std::optional<std::int32_t> newUtcOffset);
  void setProperty(const PropertyLine& line);

  std::map<SocketId, PlainSocket> sockets_;
  std::map<std::pair<Operation, SocketId>, Failure> failing_;
};

}  // namespace quarnex::recording
