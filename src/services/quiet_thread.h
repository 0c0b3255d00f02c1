// Starts threads that receive no signals.
#pragma once

#include <functional>
#include <thread>

namespace quarnex {

/// Starts a thread that blocks all signals. Signals to the process go to the host's own threads. A signal
/// that a write of this thread raises (SIGPIPE, SIGXFSZ) has no effect; the write fails instead.
std::thread startQuietThread(std::function<void()> body);

}  // namespace quarnex
