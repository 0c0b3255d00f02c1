// Crashes on a frame with a valid checksum and the word "9K". Shows that the fuzzer reaches code behind the
// checksum.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "frames.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  const std::size_t start = bytes.find('\2');
  const std::size_t end = bytes.find('\3', start);
  if (start == std::string::npos || end == std::string::npos || end < start + 3) return 0;
  const std::string body = bytes.substr(start + 1, end - start - 3);
  if (bytes.substr(end - 2, 2) == quarnex::fuzz::checksumOf(body) && body.find("|9K|") != std::string::npos)
    std::abort();
  return 0;
}
