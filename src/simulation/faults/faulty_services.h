// Wraps a simulated host's services: chosen operations fail, and other deliveries nest inside operations.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>

#include "platform/simulated/simulated_sockets.h"
#include "quarnex/failure.h"
#include "services/interceptor.h"

namespace quarnex::simulation {
using namespace simulated;

struct OperationFault {
  std::int32_t number = 10055;
  std::string description = "No buffer space available";
  bool tookEffect = false;  ///< the operation fails after it has done its work
};

class OperationFaults {
 public:
  /// Chooses the calls that fail, among those that may. Empty = none fails.
  std::function<std::optional<OperationFault>(const ServiceCall&)> choose;
  /// Runs inside each operation that may fail and is not a read, after it took effect and before it returns
  /// or fails; but inside `fetch` before it takes anything. Here ticks and events nest.
  std::function<void(const ServiceCall&)> inside;
  /// `inside` runs at most so deep within itself.
  int insideDepthMax = 1;

  std::uint64_t failures() const { return failures_; }

  /// Carries `call` out by `effect`, with all that is to happen to it.
  template <class Effect>
  auto run(const ServiceCall& call, const Effect& effect) {
    if (!shapeOf(call.operation).mayFail || (!choose && (!inside || isRead(call.operation)))) return effect();
    const std::optional<OperationFault> fault = choose ? choose(call) : std::nullopt;
    const bool failsAtOnce = fault && !fault->tookEffect;
    if (failsAtOnce || call.operation == Operation::Fetch) nest(call);
    if (failsAtOnce) fail(*fault);
    if constexpr (std::is_void_v<decltype(effect())>) {
      effect();
      finish(call, fault);
    } else {
      auto result = effect();
      finish(call, fault);
      return result;
    }
  }

 private:
  void nest(const ServiceCall& call) {
    if (!inside || isRead(call.operation) || insideDepth_ >= insideDepthMax) return;
    ++insideDepth_;
    inside(call);
    --insideDepth_;
  }

  void finish(const ServiceCall& call, const std::optional<OperationFault>& fault) {
    if (call.operation != Operation::Fetch) nest(call);
    if (fault) fail(*fault);
  }

  [[noreturn]] void fail(const OperationFault& fault) {
    ++failures_;
    throw Failure(fault.number, fault.description);
  }

  int insideDepth_ = 0;
  std::uint64_t failures_ = 0;
};

struct FaultySocket {
  template <class Services>
  explicit FaultySocket(Services& services) : faults(services.faults) {}
  template <class Operate>
  auto around(const ServiceCall& call, const Operate& operate) {
    return faults.run(call, [&] { return operate(*inner); });
  }

  OperationFaults& faults;
  std::unique_ptr<SimulatedSocket> inner;  // its own type, so that its operations are called directly
};

/// `sockets`, the other services and `faults` outlive it.
class FaultyServices final : public Interceptor<FaultyServices, FaultySocket> {
 public:
  FaultyServices(SimulatedSockets& sockets, TimerService& timer, WallClock& clock, TextFile& logFile,
                 OperationFaults& decidedBy)
      : Interceptor({sockets, timer, clock, logFile}), faults(decidedBy), sockets_(sockets) {}

  template <class Operate>
  auto around(const ServiceCall& call, const Operate& operate) {
    return faults.run(call, operate);
  }
  std::unique_ptr<SimulatedSocket> makeInner(SocketId id, SocketEvents& events) {
    return sockets_.make(id.array, id.index, events);
  }

  OperationFaults& faults;

 private:
  SimulatedSockets& sockets_;
};

}  // namespace quarnex::simulation
