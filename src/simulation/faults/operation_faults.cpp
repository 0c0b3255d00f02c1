#include "simulation/faults/operation_faults.h"

#include <algorithm>
#include <utility>

namespace quarnex::simulated {
void OperationFaults::failNth(Operation operation, std::uint64_t n, OperationFault fault) {
  plans_.push_back({operation, calls(operation) + n, std::move(fault)});
}

void OperationFaults::clear() {
  plans_.clear();
  judge = nullptr;
  inside = nullptr;
}

std::optional<OperationFault> OperationFaults::faultOf(const ServiceCall& call) {
  const auto chosen = std::find_if(plans_.begin(), plans_.end(), [&](const Plan& plan) {
    return plan.operation == call.operation && plan.call == calls(call.operation);
  });
  if (chosen == plans_.end()) return judge ? judge(call) : std::nullopt;
  std::optional<OperationFault> fault = std::move(chosen->fault);
  plans_.erase(chosen);
  return fault;
}

void OperationFaults::nest(const ServiceCall& call) {
  if (!inside || isRead(call.operation) || insideDepth_ >= insideDepthMax) return;
  ++insideDepth_;
  inside(call);
  --insideDepth_;
}

void OperationFaults::finish(const ServiceCall& call, const std::optional<OperationFault>& fault) {
  if (call.operation != Operation::Fetch) nest(call);
  if (fault) fail(*fault);
}

void OperationFaults::fail(const OperationFault& fault) {
  ++failures_;
  throw Failure(fault.number, fault.description);
}

}  // namespace quarnex::simulated
