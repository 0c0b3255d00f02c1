// Runs the contract suite of the services through a recorder.
#pragma once

#include "host/method_table.h"
#include "recording/recorder/recorder.h"
#include "services/services_contract.h"

namespace quarnex {

/// An adapter's harness `Inner` with a recorder around its services. Records the test's own calls as a host
/// call that never fails, and events and ticks as steps of their own.
template <class Inner>
class RecordedHarness final : public Inner {
 public:
  RecordedHarness() { enter(); }
  Services services() override { return services_; }
  bool runUntil(const std::function<bool()>& holds) override {
    recorder_.observer().returned({});
    const bool held = Inner::runUntil([&] {
      enter();
      const bool now = holds();
      recorder_.observer().returned({});
      return now;
    });
    enter();
    return held;
  }
  void stall(std::chrono::milliseconds pause) override {
    recorder_.observer().returned({});
    Inner::stall(pause);
    enter();
  }

 private:
  void enter() { recorder_.observer().called(*findMethod("Uscita"), {}); }

  recording::ServicesRecorder recorder_{std::make_shared<recording::Sink>()};
  Services services_{recorder_.wrap(Inner::services())};
};

template <class Each>
std::unique_ptr<Harness> makeHarness() {
  return std::make_unique<Each>();
}

}  // namespace quarnex
