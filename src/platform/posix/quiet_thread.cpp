#include "services/quiet_thread.h"

#include <csignal>
#include <utility>

namespace quarnex {

// A new thread inherits the signal mask of the thread that starts it (pthread_create(3)).
std::thread startQuietThread(std::function<void()> body) {
  sigset_t all{};
  sigset_t before{};
  ::sigfillset(&all);
  ::pthread_sigmask(SIG_SETMASK, &all, &before);
  std::thread thread(std::move(body));
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
  return thread;
}

}  // namespace quarnex
