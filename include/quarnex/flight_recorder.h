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
  bool mustBeNew = false;  ///< throws `Failure` 58 if the file exists; otherwise an existing file is emptied
};

/// Records the process's library into `path` from its first call to the end of the process; an existing file
/// is emptied. Call it before creating a `QuarnSocket` or `HostLoop`: a recording begins with a fresh
/// library.
///
/// If the name ends in ".gz", the file is a sequence of gzip members, which `zcat` and `quarn` read, also
/// after the process was killed; it then lacks the last 5 seconds at most. A host that polls its links after
/// each turn makes 1.5 MB a day with one idle connected link, 21 MB with 70 and 246 MB with 100; 0.6 MB with
/// one server link without a caller, 13 MB with 100. Uncompressed files are 15 to 110 times as large.
///
/// With the environment variable QUARNEX_RECORD_DIR, a program records without this call, compressed, into a
/// new file of that folder. If that fails, it says so on standard error and runs without a recording.
///
/// A thread of its own writes the file, so a slow, full or hanging disk never delays the links. At most 16
/// MiB wait in memory. Lines that the disk does not accept in time are dropped, and a mark with their number
/// of bytes replaces them; the recording cannot be replayed beyond that mark.
///
/// The file contains every tick, every host call that finds or changes something, all texts sent and
/// received, and all traces, even if no sink for traces is open. docs/operations.md lists how fast it grows.
/// If the file is renamed or removed, the recorder keeps writing to it and leaves a new file at `path`
/// untouched.
///
/// Throws `Failure` 5 if the library is already in use. If the file cannot be created, throws 58 (exists, but
/// `mustBeNew`), 76 (path not found), 70 (permission denied), 61 (disk full) or 75 (any other cause, a
/// symbolic link or a pipe among them); 53 if the name ends in ".gz" and the system has no zlib (libz.so.1).
///
///     quarnex::recordFlight("/var/log/myhost/links.jsonl.gz");
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
