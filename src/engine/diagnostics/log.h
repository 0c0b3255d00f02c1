// Writes the dated log file that all links share (Modulo_Main).
#pragma once

#include <cstdint>
#include <string_view>

#include "engine/records/library.h"

namespace quarnex {

/// Creates "LogPath" & LOGQUARNNETddmmyyyyhhmmss.txt and opens it, unless a log is open. Throws what the file
/// throws.
void ApriLog(Library& library);

/// Closes the log, if one is open; everything written is in the file afterwards.
void ChiudiLog(Library& library);

/// Writes one line into the open log: the index with three digits, the time of day, the text, CR LF.
void writeLogLine(Library& library, std::int16_t IdxQuarn, std::string_view testo);

}  // namespace quarnex
