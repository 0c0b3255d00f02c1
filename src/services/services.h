// The interfaces through which an engine reaches its surroundings, as one set.
#pragma once

#include "services/socket_service.h"
#include "services/text_file.h"
#include "services/timer_service.h"
#include "services/wall_clock.h"

namespace quarnex {

/// What one engine needs of its surroundings. All four outlive it.
struct Services {
  SocketService& sockets;
  TimerService& timer;
  WallClock& clock;
  TextFile& logFile;
};

}  // namespace quarnex
