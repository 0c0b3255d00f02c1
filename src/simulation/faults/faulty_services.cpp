#include "simulation/faults/faulty_services.h"

#include "quarnex/failure.h"

namespace quarnex::simulation {

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

}  // namespace quarnex::simulation
