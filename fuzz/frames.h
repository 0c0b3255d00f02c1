// Computes and repairs the checksums of frames for the fuzz targets, without code of the library.
#pragma once

#include <algorithm>
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
  const std::string_view text(reinterpret_cast<const char*>(bytes), size);
  for (std::size_t start = 0, end = 0; (start = text.find('\2', end)) != text.npos; ++end) {
    end = text.find('\3', start);
    if (end == text.npos) return;
    if (end < start + 3) continue;
    const std::string checksum = checksumOf(text.substr(start + 1, end - start - 3));
    std::copy(checksum.begin(), checksum.end(), bytes + end - 2);
  }
}

}  // namespace quarnex::fuzz
