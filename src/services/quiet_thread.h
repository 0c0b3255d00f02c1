// Threads that take no signal.
#pragma once

#include <functional>
#include <thread>

namespace quarnex {

/// Starts a thread to which no signal is delivered: those meant for the process stay with the host's threads,
/// and one that a write of its own raises (a pipe without a reader, a file at its limit) is that write's
/// failure.
std::thread startQuietThread(std::function<void()> body);

}  // namespace quarnex
