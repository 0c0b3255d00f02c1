#include "quarn/host_turn.h"

#include <poll.h>

#include <vector>

namespace quarnex::tool {

void turnHost(HostLoop& loop, LineReader* input, std::initializer_list<OutputBuffer*> outputs,
              std::chrono::milliseconds maxWait) {
  std::vector<pollfd> waited{{loop.fd(), POLLIN, 0}};
  for (const OutputBuffer* output : outputs) {
    if (output->waiting() > 0) waited.push_back({output->descriptor(), POLLOUT, 0});
  }
  if (input != nullptr) waited.push_back({input->descriptor(), POLLIN, 0});
  const int ready = poll(waited.data(), waited.size(), static_cast<int>(maxWait.count()));
  if (ready > 0 && input != nullptr && waited.back().revents != 0) input->readSome();
  for (OutputBuffer* output : outputs) output->writeSome();
  loop.turn(std::chrono::milliseconds(0));
}

}  // namespace quarnex::tool
