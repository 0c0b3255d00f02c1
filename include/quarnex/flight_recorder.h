// The flight recorder for hosts: everything that enters and leaves the library, in a file that can be played
// back.
#pragma once

#include <cstdint>
#include <filesystem>

namespace quarnex {

/// Records the process's library into `path` (an existing file is emptied) from its first call to the end of
/// the process. Call it before the first `QuarnSocket` or `HostLoop` is made: a recording begins with a fresh
/// library.
///
/// A thread of the recorder's own writes the file; a slow or full disk never holds up the links, and at most
/// 16 MiB wait in memory. What could not be kept is marked in the file, and nothing behind the mark can be
/// played. The file grows by about 15 MB a day for ticks alone, plus what the links do; traces are in it
/// whatever the sinks, and so are all texts that travel. Renamed or removed, it is written on: what then
/// stands at `path` stays untouched.
///
/// Throws `Failure` 5 if the library is in use already, 76 (path not found), 70 (permission denied), 61 (disk
/// full) or 75 (other) if the file cannot be created.
///
///     quarnex::recordFlight("/var/log/myhost/links.jsonl");
///     quarnex::QuarnSocket quarn;
///
/// Play it with `quarn replay FILE`; look at it with `quarn replay --print FILE`.
void recordFlight(const std::filesystem::path& path);

/// How many bytes of the recording could not be kept so far, a fraction of a second ago: the disk is full or
/// too slow. 0: it is whole, or there is none.
std::uint64_t flightBytesMissing();

}  // namespace quarnex
