// Receives the messages of one engine's sockets and its tick through a hidden window of the host's thread.
#pragma once

#include <winsock2.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <unordered_map>
#include <vector>

#include "services/threads.h"

namespace quarnex {

/// Receiver of the messages of one socket. May watch and forget any socket inside them.
class SocketWatcher {
 public:
  /// One of the FD_ events, with an error of Windows Sockets or 0.
  virtual void onEvent(int event, int error) = 0;
  /// A message may have been lost, or the watcher has asked for this: look at the socket itself.
  virtual void onCheck() = 0;

 protected:
  ~SocketWatcher() = default;
};

/// Everything arrives through the message loop of the thread that has created this: the host's own, or
/// `turn`.
///
/// The system reuses a socket's number as soon as it is closed. A message of the old use that is still in the
/// queue must not reach the new user, so each use has a message number of its own.
///
/// The system delivers WM_TIMER only when no other message waits, so a flood of callers would stop the ticks:
/// each message that finds the tick overdue runs it. The message queue of a thread holds 10,000 messages and
/// loses the rest, so each tick also checks a few sockets, and all of them within 50 ticks.
class WindowsLoop {
 public:
  using Key = std::uint64_t;

  /// Throws `Failure` if the system refuses the window or the use of its sockets.
  WindowsLoop();
  ~WindowsLoop();
  WindowsLoop(const WindowsLoop&) = delete;
  WindowsLoop& operator=(const WindowsLoop&) = delete;

  /// Waits at most `maxWait` (negative = no limit) until a message waits or the tick is due, then dispatches
  /// waiting messages of this thread, at most 64, and runs the tick if it is due. Leaves WM_QUIT in the
  /// queue. Throws what a watcher or the tick has thrown, also inside the host's own loop before; a `Failure`
  /// 10009 if the window has been destroyed.
  void turn(std::chrono::milliseconds maxWait);

  /// Calls `tick` every `milliseconds`, once at most where the loop is late; 0 = never. Failure if the system
  /// has no timer left.
  void setTick(std::int16_t milliseconds);
  void onTick(std::function<void()> tick) { tick_ = std::move(tick); }
  /// Runs after each tick that the host's own loop has delivered.
  void afterOwnTick(std::function<void()> work) { afterOwnTick_ = std::move(work); }
  /// Milliseconds until the tick, rounded up; 0 if a failure waits for its turn, -1 without a tick.
  std::chrono::milliseconds untilTick() const;

  /// Makes the socket non-blocking and reports its `events` (FD_...) to `watcher`, until `forget`. Throws
  /// `Failure` if the system refuses; the socket is then not watched.
  Key watch(SOCKET socket, long events, SocketWatcher& watcher);
  /// Changes the events, and reports all of them that hold again.
  void change(Key key, long events);
  /// Stops the messages of a socket that has inherited them from a listening one.
  void ignore(SOCKET socket) const;
  /// Reports no event until the next tick, then `events` again.
  void pauseUntilTick(Key key, long events);
  /// Calls `onCheck` in a later message.
  void checkLater(Key key) { post(key, kCheck, 0); }
  /// Posts a message as the system does.
  void post(Key key, int event, int error) const;
  /// Ends the use. Call it before closing the socket.
  void forget(Key key);
  /// Number of ticks so far.
  std::uint64_t ticks() const { return ticks_; }
  /// True while the use lasts.
  bool holds(Key key) const { return watcherOf(key) != nullptr; }

 private:
  static constexpr int kCheck = 1 << FD_MAX_EVENTS;  // is no event of the system

  struct WatchSlot {
    SocketWatcher* watcher;
    Key key;
  };
  struct Paused {
    Key key;
    long events;
  };

  static LRESULT CALLBACK receive(HWND window, UINT message, WPARAM word, LPARAM value);
  bool take(UINT message, WPARAM word, LPARAM value);
  void dispatch(Key key, int event, int error) const;
  void wait(std::chrono::milliseconds maxWait) const;
  void pump();
  bool runDueTick(std::chrono::milliseconds early);
  void resumePaused();
  void checkSome();
  SocketWatcher* watcherOf(Key key) const;

  WSADATA winsock_{};
  HWND window_ = nullptr;
  std::unordered_map<SOCKET, WatchSlot> slots_;
  UINT lastNumber_ = 0;  // of the messages of a use
  std::vector<Paused> paused_;
  std::vector<Key> toCheck_;  // in this round of ticks
  std::size_t perTick_ = 0;   // of them

  std::chrono::milliseconds period_{0};
  SteadyTime due_;
  std::uint64_t ticks_ = 0;
  std::function<void()> tick_, afterOwnTick_;
  bool turning_ = false;
  std::exception_ptr thrown_;
};

}  // namespace quarnex
