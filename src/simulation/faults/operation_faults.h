// OperationFaults: which call of a service operation fails, and what is delivered inside one.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "quarnex/failure.h"
#include "services/operation.h"

namespace quarnex::simulated {

/// How a call fails.
struct OperationFault {
  std::int32_t number = 10055;
  std::string description = "No buffer space available";
  bool tookEffect = false;  ///< it fails though it did what it was called for
};

class OperationFaults {
 public:
  /// Lets the `n`-th call of `operation` from now on fail (1 = the next); several may be planned.
  void failNth(Operation operation, std::uint64_t n, OperationFault fault = {});
  /// Plans that no call has met yet.
  std::size_t planned() const { return plans_.size(); }
  /// Forgets plans, judge and deliveries; the counts stay.
  void clear();

  /// Decides about every call that no plan has chosen.
  std::function<std::optional<OperationFault>(const ServiceCall&)> judge;
  /// Runs inside every operation that is no read, after it took effect and before it returns or fails (inside
  /// `fetch` before it takes anything): here ticks and events nest.
  std::function<void(const ServiceCall&)> inside;
  /// So deep may deliveries nest in operations of other deliveries.
  int insideDepthMax = 1;

  std::uint64_t calls(Operation operation) const { return calls_[static_cast<std::size_t>(operation)]; }
  std::uint64_t failures() const { return failures_; }

  /// For the services' wrappers: counts `call` and carries it out with whatever is to happen to it.
  template <class Effect>
  auto run(const ServiceCall& call, const Effect& effect) {
    if (!shapeOf(call.operation).mayFail) return effect();
    ++calls_[static_cast<std::size_t>(call.operation)];
    if (plans_.empty() && !judge && (!inside || isRead(call.operation))) return effect();
    const std::optional<OperationFault> fault = faultOf(call);
    if (call.operation == Operation::Fetch || (fault && !fault->tookEffect)) nest(call);
    if (fault && !fault->tookEffect) fail(*fault);
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
  struct Plan {
    Operation operation;
    std::uint64_t call;  // fails when the count of calls reaches this
    OperationFault fault;
  };

  std::optional<OperationFault> faultOf(const ServiceCall& call);
  void nest(const ServiceCall& call);
  void finish(const ServiceCall& call, const std::optional<OperationFault>& fault);
  [[noreturn]] void fail(const OperationFault& fault);

  std::array<std::uint64_t, kOperations.size()> calls_{};
  std::vector<Plan> plans_;
  int insideDepth_ = 0;
  std::uint64_t failures_ = 0;
};

}  // namespace quarnex::simulated
