#include "quarn/interruption.h"

#include <unistd.h>

#include <csignal>

namespace quarnex::tool {
namespace {

volatile std::sig_atomic_t signalled = 0;

extern "C" void onSignal(int) {
  if (signalled != 0) _exit(kInterruptedStatus);
  signalled = 1;
}

}  // namespace

void catchInterruptions() {
  struct sigaction action {};
  action.sa_handler = onSignal;
  sigemptyset(&action.sa_mask);
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
}

bool interrupted() {
  return signalled != 0;
}

}  // namespace quarnex::tool
