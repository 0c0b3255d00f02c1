// Writes to descriptors, and wakes the loop through an eventfd.
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>

#include "quarn/output_device.h"

namespace quarnex::tool {

// The descriptor may have been set to O_NONBLOCK by another process that shares it.
std::ptrdiff_t writeSome(int descriptor, std::string_view bytes) {
  constexpr std::size_t kWriteBytesMax = std::size_t{64} * 1024;
  while (true) {
    const ssize_t wrote = write(descriptor, bytes.data(), std::min(bytes.size(), kWriteBytesMax));
    if (wrote > 0) return wrote;
    const int number = wrote == 0 ? EIO : errno;
    if (number != EINTR && number != EAGAIN) return -number;
    pollfd waited{descriptor, POLLOUT, 0};
    if (number == EAGAIN) poll(&waited, 1, -1);
  }
}

LoopWake::LoopWake() : number_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

LoopWake::~LoopWake() {
  close(number_);
}

void LoopWake::signal() const {
  constexpr std::uint64_t kOne = 1;
  static_cast<void>(!write(number_, &kOne, sizeof kOne));
}

void LoopWake::clear() const {
  std::uint64_t count = 0;
  static_cast<void>(read(number_, &count, sizeof count) > 0);
}

}  // namespace quarnex::tool
