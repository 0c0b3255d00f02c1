// Writes the dated log file that all links share (Modulo_Main).
#pragma once

#include <cstdint>
#include <string_view>

#include "engine/records/library.h"

namespace quarnex {

/// Creates and opens the file `LogPath` & "LOGQUARNNETddmmyyyyhhmmss.txt", unless a log is open. Throws like
/// `TextFile::create`.
void ApriLog(Library& library);

/// Writes the remaining lines and closes the log, if one is open.
void ChiudiLog(Library& library);

/// Writes one line into the open log: the index with three digits, the time of day, the text, CR LF.
void writeLogLine(Library& library, std::int16_t IdxQuarn, std::string_view testo);

}  // namespace quarnex
