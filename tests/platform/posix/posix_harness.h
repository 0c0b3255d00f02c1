// Runs the POSIX adapter for the contract suite.
#pragma once

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cerrno>
#include <thread>

#include "platform/posix/descriptor.h"
#include "platform/posix/posix_platform.h"
// The adapter comes first.
#include "platform/common/adapter_harness.h"

namespace quarnex {

struct PosixSystem {
  using Platform = PosixPlatform;
  using Socket = Descriptor;
  using Size = std::size_t;
  static constexpr int kSendFlags = MSG_NOSIGNAL;

  static Descriptor open() { return Descriptor(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)); }
  static void becomeNonBlocking(const Descriptor& socket) { ::fcntl(socket.get(), F_SETFL, O_NONBLOCK); }
  static bool wouldWait() { return errno == EAGAIN; }
  static void closeWithReset(Descriptor& socket) {
    const linger hard{1, 0};
    ::setsockopt(socket.get(), SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
    socket = {};
  }
  static pid_t process() { return ::getpid(); }
  static void pause(std::chrono::milliseconds length) { std::this_thread::sleep_for(length); }
};

using PosixHarness = AdapterHarness<PosixSystem>;
using PosixPeer = PlainPeer<PosixSystem>;

}  // namespace quarnex
