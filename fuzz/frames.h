// Frames for the fuzz targets, built and checked without the library's own code.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace quarnex::fuzz {

/// The two checksum characters of `body` (all between start character and checksum).
std::string checksumOf(std::string_view body);

/// Gives every frame in `bytes` (STX ... two characters, ETX) the checksum of its body, in place.
void repairChecksums(std::uint8_t* bytes, std::size_t size);

}  // namespace quarnex::fuzz
