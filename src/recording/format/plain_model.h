// The services' answers during a replay: the values last set, unless a line of the recording says otherwise.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "quarnex/failure.h"
#include "recording/format/line.h"
#include "services/wall_clock.h"

namespace quarnex::recording {

struct SocketModel {
  struct Status {
    std::int32_t state = kSocketClosed;
    std::string text = "Closed";
  };

  Status status;
  std::int32_t localPort = 0, remotePort = 0;
  std::string remoteHost;
  std::string receivedText;                  // of the last fetch
  std::optional<std::int32_t> bytesWaiting;  // if a line states it; otherwise the next output decides
};

/// "Closed", "Listening", "Calling", "Connected".
SocketModel::Status statusOf(SocketState state);

class PlainModel {
 public:
  explicit PlainModel(std::int32_t offset) : utcOffset(offset) {}

  /// Returns a fresh, closed instance; references to an older one of this identifier refer to it, too.
  SocketModel& create(SocketId socket);
  /// nullptr if it was never created.
  SocketModel* find(SocketId socket);

  // The effects of lines. A line about an instance that was never created has none.
  void beginStep(const Line& step);
  /// Takes a property, a time or the failure of a read. False for any other line.
  bool takeInput(const Line& line);
  /// Reads succeed again.
  void letReadsSucceed() { failing_.clear(); }

  /// Throws the failure that a line gave to this read, if any.
  void read(Operation property, SocketId socket) const {
    if (!failing_.empty()) failIfListed(property, socket);
  }

  std::int64_t shift = 0;  // seconds by which the clock is ahead of the recording's
  Instant now;
  std::int32_t utcOffset;
  std::int16_t period = 0;

 private:
  struct FailingRead {
    Operation property;
    SocketId socket;
    Failure failure;
  };
  void setClock(Instant at, std::optional<std::int32_t> newUtcOffset);
  void setProperty(const PropertyLine& line);
  void failIfListed(Operation property, SocketId socket) const;

  std::vector<std::unique_ptr<SocketModel>> sockets_[3];  // by array, then by index
  std::vector<FailingRead> failing_;
};

}  // namespace quarnex::recording
