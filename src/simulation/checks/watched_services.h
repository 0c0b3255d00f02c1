// Reports the steps of an engine, and the calls of its services that matter to checks, to a watcher.
#pragma once

#include <cstdint>
#include <memory>
#include <type_traits>

#include "services/interceptor.h"

namespace quarnex::simulation {

template <class Watcher>
class WatchedServices;

template <class Watcher>
class WatchedSocket {
 public:
  explicit WatchedSocket(WatchedServices<Watcher>& services) : watcher_(services.watcher) {}

  template <class Operate>
  auto around(const ServiceCall& call, const Operate& operate) {
    if (call.operation == Operation::BytesWaiting) watcher_.looks(link);
    if (call.operation == Operation::Send || call.operation == Operation::Connect ||
        call.operation == Operation::Listen)
      watcher_.performs(link, call);
    Failing failing{*this, &call};
    if constexpr (std::is_void_v<decltype(operate(*inner))>) {
      operate(*inner);
      failing.call = nullptr;
      if (call.operation == Operation::Attach) watcher_.connects(link);
    } else {
      auto result = operate(*inner);
      failing.call = nullptr;
      return result;
    }
  }

  std::unique_ptr<SocketInstance> inner;
  std::int16_t link = 0;  ///< to which it belongs

 private:
  // Reports the call on destruction, unless it is cleared first. Catching a failure and throwing it again
  // would take longer than the rest of the step.
  struct Failing {
    ~Failing() {
      if (call != nullptr) socket.watcher_.fails(socket.link, *call);
    }
    WatchedSocket& socket;
    const ServiceCall* call;
  };

  Watcher& watcher_;
};

/// Calls these members of `watcher`, which outlives it:
/// - `stepBegins(event)` (nullptr for a tick) and `stepEnds()`; steps nest
/// - `readsClock(now)`
/// - `created(id, socket)` for each new instance, which then names its link in all further calls
/// - `looks(link)` for `bytesWaiting`; `performs(link, call)` before `send`, `connect` and `listen`
/// - `connects(link)` after an `attach` that did not fail, and on the event of a call that succeeded
/// - `fails(link, call)` after an operation or a read has failed
template <class Watcher>
class WatchedServices final : public Interceptor<WatchedServices<Watcher>, WatchedSocket<Watcher>> {
 public:
  WatchedServices(const Services& inner, Watcher& reportsTo)
      : Interceptor<WatchedServices, WatchedSocket<Watcher>>(inner), watcher(reportsTo) {}

  template <class Operate>
  auto around(const ServiceCall& /*call*/, const Operate& operate) {
    if constexpr (std::is_same_v<decltype(operate()), Instant>) {
      const Instant now = operate();
      watcher.readsClock(now);
      return now;
    } else {
      return operate();
    }
  }
  template <class Pass>
  void deliver(const SocketEvent& event, const Pass& pass) {
    step(&event, pass);
  }
  template <class Pass>
  void tick(const Pass& pass) {
    step(nullptr, pass);
  }
  void created(SocketId id, WatchedSocket<Watcher>& socket) { watcher.created(id, socket); }

  Watcher& watcher;

 private:
  template <class Pass>
  void step(const SocketEvent* event, const Pass& pass) {
    watcher.stepBegins(event);
    const struct Ending {
      ~Ending() { of.stepEnds(); }
      Watcher& of;
    } ending{watcher};
    pass();
  }
};

}  // namespace quarnex::simulation
