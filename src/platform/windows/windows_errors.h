// Maps every error of Windows and Windows Sockets to the number that the engine reports.
#pragma once

#include <cstdint>

#include "quarnex/failure.h"

namespace quarnex {

/// The number that the engine reports for an error of Windows Sockets: the same number wherever it has a
/// description, the nearest one for errors of the system, otherwise 10107. 0 for 0.
std::int16_t socketErrorNumber(int systemError);

/// Number and description for a failed call on a socket or the loop.
Failure socketFailure(int systemError);

/// Number and description for a file that could not be created or written: 58 (exists), 76 (path not found),
/// 70 (permission denied), 61 (disk full), 52 (bad file name) or 75 (any other error).
Failure fileFailure(std::uint32_t systemError);

}  // namespace quarnex
