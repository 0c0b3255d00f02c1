// Records everything that enters and leaves the library into a file, for a later replay.
#pragma once

#include <cstdint>
#include <filesystem>

#include "quarnex/export.h"

namespace quarnex {

/// Records the process's library into `path` from its first call to the end of the process; an existing file
/// is emptied. Call it before creating a `QuarnSocket` or `HostLoop`: a recording begins with a fresh
/// library.
///
/// A thread of its own writes the file, so a slow or full disk never delays the links. At most 16 MiB wait in
/// memory. Lines that the disk does not accept in time are dropped, and a mark with their number of bytes
/// replaces them; the recording cannot be replayed beyond that mark.
///
/// The file contains every tick, every host call, all texts sent and received, and all traces, even if no
/// sink for traces is open. It grows without limit; docs/operations.md lists how fast. If the file is renamed
/// or removed, the recorder keeps writing to it and leaves a new file at `path` untouched.
///
/// Throws `Failure` 5 if the library is already in use. If the file cannot be created, throws 76 (path not
/// found), 70 (permission denied), 61 (disk full) or 75 (any other cause).
///
///     quarnex::recordFlight("/var/log/myhost/links.jsonl");
///     quarnex::QuarnSocket quarn;
///
/// `quarn replay FILE` replays the recording, `quarn replay --print FILE` prints it.
QUARNEX_API void recordFlight(const std::filesystem::path& path);

/// Number of bytes dropped from the recording so far because the disk was full or too slow; a drop is counted
/// within a second. 0 if the recording is complete, or if there is none.
QUARNEX_API std::uint64_t flightBytesMissing();

}  // namespace quarnex
