// Maps every errno to the number that the engine reports: Windows Sockets numbers for sockets, the classic
// numbers for files.
#pragma once

#include <cstdint>

#include "quarnex/failure.h"

namespace quarnex {

/// The Windows Sockets number for an `errno` value; 0 for 0, 10107 for a value that is not in the table.
std::int16_t socketErrorNumber(int systemError);

/// Number and description for a failed call on a socket, an epoll set or the timer.
Failure socketFailure(int systemError);

/// Number and description for a file that could not be created: 76 (path not found), 70 (permission denied),
/// 61 (disk full) or 75 (any other error).
Failure fileFailure(int systemError);

}  // namespace quarnex
