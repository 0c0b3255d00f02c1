// Groups the service interfaces through which an engine reaches everything outside itself.
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

}  // namespace quarnex
