// Compresses a storage and reads compressed text, in the gzip format (RFC 1952).
#pragma once

#include <chrono>
#include <istream>
#include <memory>

#include "services/storage.h"

namespace quarnex {

/// Pause between two writes to a compressed storage: each makes it larger by a few bytes. What a process that
/// is killed loses at most.
constexpr std::chrono::milliseconds kCompressedPause{5000};

/// Throws `Failure` 53 if the system has no zlib (libz.so.1; on Windows, zlib1.dll beside the program), which
/// all functions below need.
void requireCompression();

/// Returns a storage that compresses what is written and appends it to `file`, which is empty, as a sequence
/// of gzip members. Everything written can be read from the file at once, also if the process is killed. Only
/// the last four writes can be cut off or overwritten, each as a whole. If another program has truncated the
/// file, the storage is empty and continues at its end. Throws `Failure` 7 without memory.
std::unique_ptr<Storage> compressed(std::unique_ptr<Storage> file);

/// Returns the text of `in`, which outlives it, consists of gzip members and may end anywhere. Reading throws
/// `Failure` 75 behind the last intact byte if `in` is damaged. Throws `Failure` 7 without memory.
std::unique_ptr<std::istream> decompressed(std::istream& in);

}  // namespace quarnex
