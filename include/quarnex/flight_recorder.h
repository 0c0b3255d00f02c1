// Records everything that enters and leaves the library into a file, for a later replay.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>

#include "quarnex/export.h"
#include "quarnex/process_snapshot.h"

namespace quarnex {

/// How a recording is kept.
struct RecordingSettings {
  std::uint64_t bytesMax = std::uint64_t{4} << 30;  ///< the recording ends there with a line that states it
  bool groupMayRead = false;                        ///< otherwise the process's user alone can read the file
};

/// Records the process's library into `path` from its first call to the end of the process; an existing file
/// is emptied. Call it before creating a `QuarnSocket` or `HostLoop`: a recording begins with a fresh
/// library.
///
/// A thread of its own writes the file, so a slow, full or hanging disk never delays the links. At most 16
/// MiB wait in memory. Lines that the disk does not accept in time are dropped, and a mark with their number
/// of bytes replaces them; the recording cannot be replayed beyond that mark.
///
/// The file contains every tick, every host call, all texts sent and received, and all traces, even if no
/// sink for traces is open. docs/operations.md lists how fast it grows. If the file is renamed or removed,
/// the recorder keeps writing to it and leaves a new file at `path` untouched.
///
/// Throws `Failure` 5 if the library is already in use. If the file cannot be created, throws 76 (path not
/// found), 70 (permission denied), 61 (disk full) or 75 (any other cause, a symbolic link or a pipe among
/// them).
///
///     quarnex::recordFlight("/var/log/myhost/links.jsonl");
///     quarnex::QuarnSocket quarn;
///
/// `quarn replay FILE` replays the recording, `quarn replay --print FILE` prints it.
QUARNEX_API void recordFlight(const std::filesystem::path& path, const RecordingSettings& settings = {});

/// Lines dropped from the recording so far because the disk was full or too slow; a drop is counted within a
/// second. Nothing if the recording is complete, or if there is none.
QUARNEX_API FileLosses flightLosses();

/// Waits until everything recorded so far is in the file or dropped, at most `maxWait`. Returns what is
/// missing; if the disk does not answer in time, the lines that wait count as missing.
QUARNEX_API FileLosses flushFlight(std::chrono::milliseconds maxWait);

}  // namespace quarnex
