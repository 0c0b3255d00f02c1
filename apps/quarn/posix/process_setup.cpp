// Prepares the process and catches its signals with POSIX calls.
#include "quarn/process_setup.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <clocale>
#include <csignal>

namespace quarnex::tool {
namespace {

// Each takes the lowest free number. Writing to a standard output that was closed has to fail.
void fillStandardDescriptors() {
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(descriptor, F_GETFD) >= 0) continue;
    if (open("/dev/null", descriptor == STDERR_FILENO ? O_WRONLY : O_RDONLY) < 0) return;
  }
}

void raiseDescriptorLimit() {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
}

volatile std::sig_atomic_t signalled = 0, lastRowReserved = 0;

extern "C" void onSignal(int number) {
  constexpr int kFirstSignalStatus = 128;
  if (signalled != 0 && lastRowReserved != 0)
    static_cast<void>(!write(STDERR_FILENO, kFreeLastRow.data(), kFreeLastRow.size()));
  if (signalled != 0) _exit(kFirstSignalStatus + number);
  signalled = 1;
}

}  // namespace

void prepareProcess() {
  fillStandardDescriptors();
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  raiseDescriptorLimit();
  std::setlocale(LC_CTYPE, "");
}

std::vector<std::string> argumentsOf(int argc, char** argv) {
  return {argv + (argc > 0 ? 1 : 0), argv + argc};
}

void catchInterruptions() {
  struct sigaction action {};
  action.sa_handler = onSignal;
  sigemptyset(&action.sa_mask);
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
  struct sigaction before {};
  sigaction(SIGHUP, nullptr, &before);
  if (before.sa_handler != SIG_IGN) sigaction(SIGHUP, &action, nullptr);
}

void freeLastRowAfterSignal(bool on) {
  lastRowReserved = on ? 1 : 0;
}

bool interrupted() {
  return signalled != 0;
}

}  // namespace quarnex::tool
