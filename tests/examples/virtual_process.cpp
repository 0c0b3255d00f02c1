// Replaces the process's own library and loop, so that an example runs on a simulated system in virtual
// time.
#include <fcntl.h>

#include "quarnex/host_loop.h"
#include "services/process_library.h"
#include "simulation/sites/world.h"

namespace quarnex {
namespace {

simulation::World world{1};
simulation::Host& host = world.addHost();
const int alwaysReadable = open("/dev/null", O_RDONLY | O_CLOEXEC);

}  // namespace

Library& processLibrary() {
  return host.library();
}

void HostLoop::turn(std::chrono::milliseconds /*maxWait*/) {
  world.runMilliseconds(200);
}

int HostLoop::fd() const {
  return alwaysReadable;
}

}  // namespace quarnex
