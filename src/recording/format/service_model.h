// The services' answers during a replay: the values last set, unless a line of the recording says otherwise.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "quarnex/failure.h"
#include "recording/format/line.h"
#include "services/plain_services.h"

namespace quarnex::recording {

class ServiceModel : public PlainServices {
 public:
  explicit ServiceModel(std::int32_t utcOffset) { offset = utcOffset; }

  using PlainServices::create;
  /// Returns a fresh, closed instance; references to an older one of this identifier refer to it, too.
  PlainSocket& create(SocketId socket);
  /// nullptr if it was never created.
  PlainSocket* find(SocketId socket);

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

 private:
  struct FailingRead {
    Operation property;
    SocketId socket;
    Failure failure;
  };
  void setClock(Instant at, std::optional<std::int32_t> newUtcOffset);
  void setProperty(const PropertyLine& line);
  void failIfListed(Operation property, SocketId socket) const;

  std::vector<std::unique_ptr<PlainSocket>> sockets_[3];  // by array, then by index
  std::vector<FailingRead> failing_;
};

}  // namespace quarnex::recording
