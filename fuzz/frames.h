// Computes and repairs the checksums of frames for the fuzz targets, without code of the library.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace quarnex::fuzz {

/// Returns the two checksum characters of `body`, the characters between STX and the checksum.
inline std::string checksumOf(std::string_view body) {
  unsigned sum = 0;
  for (const char character : body) sum ^= static_cast<unsigned char>(character);
  return {static_cast<char>(64 + sum / 16), static_cast<char>(64 + sum % 16)};
}

/// Overwrites the checksum of every frame in `bytes` with the right one.
inline void repairChecksums(std::uint8_t* bytes, std::size_t size) {
  std::size_t start = size;
  for (std::size_t at = 0; at < size; ++at) {
    if (start == size && bytes[at] == 2) start = at;
    if (bytes[at] != 3) continue;
    if (start + 4 <= at + 1 && start < size) {
      const std::string_view body(reinterpret_cast<const char*>(bytes + start + 1), at - start - 3);
      const std::string checksum = checksumOf(body);
      bytes[at - 2] = static_cast<std::uint8_t>(checksum[0]);
      bytes[at - 1] = static_cast<std::uint8_t>(checksum[1]);
    }
    start = size;
  }
}

}  // namespace quarnex::fuzz
