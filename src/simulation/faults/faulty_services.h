// Wraps a simulated host's services so that single operations fail and other deliveries nest inside them.
#pragma once

#include <memory>

#include "platform/simulated/simulated_socket.h"
#include "platform/simulated/simulated_sockets.h"
#include "services/interceptor.h"
#include "simulation/faults/operation_faults.h"

namespace quarnex::simulated {

class FaultyServices;

class FaultySocket {
 public:
  explicit FaultySocket(FaultyServices& services);
  template <class Operate>
  auto around(const ServiceCall& call, const Operate& operate) {
    return faults_.run(call, [&] { return operate(*inner); });
  }

  std::unique_ptr<SimulatedSocket> inner;

 private:
  OperationFaults& faults_;
};

/// Lets `faults` decide about every call. `sockets`, the services and `faults` outlive it.
class FaultyServices final : public Interceptor<FaultyServices, FaultySocket> {
 public:
  FaultyServices(SimulatedSockets& sockets, TimerService& timer, WallClock& clock, TextFile& logFile,
                 OperationFaults& faults)
      : Interceptor({sockets, timer, clock, logFile}), faults_(faults), sockets_(sockets) {}

  template <class Operate>
  auto around(const ServiceCall& call, const Operate& operate) {
    return faults_.run(call, operate);
  }
  /// By its own type, so that its operations are called directly.
  std::unique_ptr<SimulatedSocket> makeInner(SocketId id, SocketEvents& events) {
    return sockets_.make(id.array, id.index, events);
  }

 private:
  friend class FaultySocket;

  OperationFaults& faults_;
  SimulatedSockets& sockets_;
};

inline FaultySocket::FaultySocket(FaultyServices& services) : faults_(services.faults_) {}

}  // namespace quarnex::simulated
