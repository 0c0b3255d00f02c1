// The process's own library: composed here, once, and turned by HostLoop.
#include "platform/process_library.h"

#include "component/library.h"
#include "platform/posix/posix_platform.h"
#include "quarnex/host_loop.h"

namespace quarnex {
namespace {

struct Process {
  PosixPlatform platform;
  Library library{platform.services()};
};

Process& process() {
  static Process only;
  return only;
}

}  // namespace

Library& processLibrary() {
  return process().library;
}

void HostLoop::turn(std::chrono::milliseconds maxWait) {
  process().platform.turn(maxWait);
}

int HostLoop::fd() const {
  return process().platform.fd();
}

}  // namespace quarnex
