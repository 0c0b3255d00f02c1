// Writes to descriptors, and wakes the loop by a message to its thread.
#include <io.h>
#include <windows.h>

#include <algorithm>
#include <cerrno>

#include "quarn/output_device.h"

namespace quarnex::tool {

std::ptrdiff_t writeSome(int descriptor, std::string_view bytes) {
  constexpr std::size_t kWriteBytesMax = std::size_t{16} * 1024;  // a console takes no more at once
  const auto size = static_cast<unsigned>(std::min(bytes.size(), kWriteBytesMax));
  const int wrote = ::_write(descriptor, bytes.data(), size);
  if (wrote > 0) return wrote;
  return wrote == 0 ? -EIO : -errno;
}

LoopWake::LoopWake() : number_(static_cast<int>(::GetCurrentThreadId())) {}
LoopWake::~LoopWake() = default;

void LoopWake::signal() const {
  ::PostThreadMessageW(static_cast<DWORD>(number_), WM_NULL, 0, 0);
}

// The turn takes the message from the queue.
void LoopWake::clear() const {}

}  // namespace quarnex::tool
