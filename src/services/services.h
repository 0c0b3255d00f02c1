// Groups the service interfaces through which an engine reaches everything outside itself, and declares the
// interface of objects that stand between an engine and its services, such as a recorder.
#pragma once

#include "services/socket_service.h"
#include "services/text_file.h"
#include "services/timer_service.h"
#include "services/wall_clock.h"

namespace quarnex {

/// The services of one engine. All four outlive it.
struct Services {
  SocketService& sockets;
  TimerService& timer;
  WallClock& clock;
  TextFile& logFile;
};

struct Library;

/// Wraps the services of one library. The wrapper outlives the library, and the services outlive the wrapper.
class ServicesWrapper {
 public:
  virtual ~ServicesWrapper() = default;
  /// Returns the services that the library is to use instead of `services`.
  virtual Services wrap(const Services& services) = 0;
  /// Called once the library exists, before its first host call.
  virtual void watch(Library& library) = 0;
  /// The process ends: the wrapper need not wait for its files yet, but begins to close them.
  virtual void end() {}
};

}  // namespace quarnex
