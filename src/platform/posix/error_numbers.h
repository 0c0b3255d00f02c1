// The system's error numbers as the engine knows them: Windows Sockets numbers for sockets, the classic ones
// for files.
#pragma once

#include <cstdint>

#include "quarnex/failure.h"

namespace quarnex {

/// The Windows Sockets number for an `errno` value; 0 for 0, 10107 for a value that no call used here
/// returns.
std::int16_t socketErrorNumber(int systemError);

/// Number and description for a failed call on a socket, an epoll set or the timer.
Failure socketFailure(int systemError);

/// Number and description for a text file that could not be created: 76, 70, 61 or 75.
Failure fileFailure(int systemError);

}  // namespace quarnex
