// Reports the steps of an engine, and the calls of its services that matter to checks, to a watcher.
#pragma once

#include <cstdint>
#include <memory>
#include <type_traits>
#include <utility>

#include "services/interceptor.h"

namespace quarnex::simulation {

class WatchedServices;
class WatchedSocket;

/// Sees what passes between an engine and its services; overrides only what it needs.
class ServicesWatcher {
 public:
  virtual ~ServicesWatcher() = default;
  /// A step begins: `event`, or a tick if that is nullptr. Steps nest, and each ends.
  virtual void stepBegins(const SocketEvent* /*event*/) {}
  virtual void stepEnds() {}
  /// The engine has made an instance, which lives as long as the engine.
  virtual void created(SocketId /*id*/, WatchedSocket& /*socket*/) {}
  /// The engine calls an operation of an instance that is no read (`Send`, `Connect`, `Listen`, ...), which
  /// has not been carried out yet.
  virtual void performs(const ServiceCall& /*call*/) {}
  /// A call on an instance, which may be a read, has failed.
  virtual void fails(const ServiceCall& /*call*/) {}
  /// The engine has read the clock.
  virtual void readsClock(Instant /*now*/) {}
};

class WatchedSocket {
 public:
  explicit WatchedSocket(WatchedServices& services);

  /// True if the engine has looked for bytes (`bytesWaiting`) since the last call of this.
  bool wasLookedAt() { return std::exchange(lookedAt_, false); }

  template <class Operate>
  auto around(const ServiceCall& call, const Operate& operate) {
    if (call.operation == Operation::BytesWaiting) lookedAt_ = true;
    if (!isRead(call.operation)) watcher_.performs(call);
    Failing failing{watcher_, call};
    if constexpr (std::is_void_v<decltype(operate(*inner))>) {
      operate(*inner);
      failing.call = nullptr;
    } else {
      auto result = operate(*inner);
      failing.call = nullptr;
      return result;
    }
  }

  std::unique_ptr<SocketInstance> inner;

 private:
  // Reports the call on destruction, unless it is cleared first. Catching a failure and throwing it again
  // would take longer than the rest of the step.
  struct Failing {
    Failing(ServicesWatcher& to, const ServiceCall& about) : watcher(to), call(&about) {}
    ~Failing() {
      if (call != nullptr) watcher.fails(*call);
    }
    Failing(const Failing&) = delete;
    Failing& operator=(const Failing&) = delete;

    ServicesWatcher& watcher;
    const ServiceCall* call;
  };

  ServicesWatcher& watcher_;
  bool lookedAt_ = false;
};

/// `watcher` outlives it.
class WatchedServices final : public Interceptor<WatchedServices, WatchedSocket> {
 public:
  WatchedServices(const Services& inner, ServicesWatcher& watcher) : Interceptor(inner), watcher_(watcher) {}

  template <class Operate>
  auto around(const ServiceCall& /*call*/, const Operate& operate) {
    if constexpr (std::is_same_v<decltype(operate()), Instant>) {
      const Instant now = operate();
      watcher_.readsClock(now);
      return now;
    } else {
      return operate();
    }
  }
  template <class Pass>
  void deliver(const SocketEvent& event, const Pass& pass) {
    const StepScope scope(watcher_, &event);
    pass();
  }
  template <class Pass>
  void tick(const Pass& pass) {
    const StepScope scope(watcher_, nullptr);
    pass();
  }
  void created(SocketId id, WatchedSocket& socket) { watcher_.created(id, socket); }

 private:
  friend class WatchedSocket;

  struct StepScope {
    StepScope(ServicesWatcher& to, const SocketEvent* event) : watcher(to) { watcher.stepBegins(event); }
    ~StepScope() { watcher.stepEnds(); }
    StepScope(const StepScope&) = delete;
    StepScope& operator=(const StepScope&) = delete;

    ServicesWatcher& watcher;
  };

  ServicesWatcher& watcher_;
};

inline WatchedSocket::WatchedSocket(WatchedServices& services) : watcher_(services.watcher_) {}

}  // namespace quarnex::simulation
