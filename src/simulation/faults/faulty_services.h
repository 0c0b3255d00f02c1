// Wrappers round the services that let single operations fail and other deliveries nest inside them.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "platform/simulated/simulated_sockets.h"
#include "services/socket_service.h"
#include "services/text_file.h"
#include "services/timer_service.h"
#include "simulation/faults/operation_faults.h"

namespace quarnex::simulated {

/// Makes the instances of `inner`, each in a wrapper. Both `inner` and `faults` outlive the instances.
class FaultySockets final : public SocketService {
 public:
  FaultySockets(SimulatedSockets& inner, OperationFaults& faults) : inner_(inner), faults_(faults) {}
  std::unique_ptr<SocketInstance> create(SocketArray array, std::int16_t index,
                                         SocketEvents& events) override;

 private:
  SimulatedSockets& inner_;
  OperationFaults& faults_;
};

class FaultyTimer final : public TimerService {
 public:
  FaultyTimer(TimerService& inner, OperationFaults& faults) : inner_(inner), faults_(faults) {}
  void setEvents(TimerEvents* events) override { inner_.setEvents(events); }
  std::int16_t period() override;
  void setPeriod(std::int16_t milliseconds) override;

 private:
  TimerService& inner_;
  OperationFaults& faults_;
};

class FaultyFile final : public TextFile {
 public:
  FaultyFile(TextFile& inner, OperationFaults& faults) : inner_(inner), faults_(faults) {}
  void create(const std::string& name) override;
  void write(std::string_view line) override { inner_.write(line); }
  void close() override { inner_.close(); }

 private:
  TextFile& inner_;
  OperationFaults& faults_;
};

}  // namespace quarnex::simulated
