// What the services answer while a recording is played: what was last set, unless a line says otherwise.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

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
  std::optional<std::int32_t> bytesWaiting;  // as a line said; otherwise it follows from the next output
};

/// "Closed", "Listening", "Calling", "Connected".
SocketModel::Status statusOf(SocketState state);

class PlainModel {
 public:
  explicit PlainModel(std::int32_t offset) : utcOffset(offset) {}

  /// A fresh instance, closed; references to an older one of this name see it too.
  SocketModel& create(SocketId socket);
  /// nullptr if it was never created.
  SocketModel* find(SocketId socket);

  // What lines do. A line about an instance that was never created has no effect.
  void setClock(const Line& stepOrNow);
  void setProperty(const Line& property);
  void happened(const Line& event);
  void letFail(Line&& failedRead) { failing_.push_back(std::move(failedRead)); }
  /// Reads succeed again.
  void letSucceed() { failing_.clear(); }

  /// Throws the failure that a line gave to this read, if it is still to fail.
  void read(Operation property, SocketId socket) const {
    if (!failing_.empty()) failIfListed(property, socket);
  }

  Instant now;
  std::int32_t utcOffset;
  std::int16_t period = 0;

 private:
  void failIfListed(Operation property, SocketId socket) const;

  std::vector<std::unique_ptr<SocketModel>> sockets_[3];  // by array, then by index
  std::vector<Line> failing_;
};

}  // namespace quarnex::recording
