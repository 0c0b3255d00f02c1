// Runs the contract suite of the services through a wrapper, such as a recorder.
#pragma once

#include <utility>

#include "host/method_table.h"
#include "recording/recorder/recorder.h"
#include "services/services_contract.h"

namespace quarnex {

/// An adapter's harness `Inner` with a wrapper that has `services()`, `enter()` and `leave()`. The test's own
/// calls are made between `enter` and `leave`, events and ticks outside.
template <class Inner, class Wrapper>
class WrappedHarness final : public Inner {
 public:
  WrappedHarness() { wrapper_.enter(); }
  Services services() override { return wrapper_.services(); }
  bool runUntil(const std::function<bool()>& holds) override {
    wrapper_.leave();
    const bool held = Inner::runUntil([&] {
      wrapper_.enter();
      const bool now = holds();
      wrapper_.leave();
      return now;
    });
    wrapper_.enter();
    return held;
  }
  void stall(std::chrono::milliseconds pause) override {
    wrapper_.leave();
    Inner::stall(pause);
    wrapper_.enter();
  }

 private:
  Wrapper wrapper_{Inner::services()};
};

/// Records the test's own calls as a host call that never fails.
class RecordingWrapper {
 public:
  explicit RecordingWrapper(const Services& services) : recorder_(services, nowhere_) {}
  Services services() { return recorder_.services(); }
  void enter() { recorder_.called(*findMethod("Uscita"), {}); }
  void leave() { recorder_.returned({}); }

 private:
  struct Nowhere final : recording::LineSink {
    void begin(std::int32_t) override {}
    void take(const recording::Line&) override {}
    void pause() override {}
  };

  Nowhere nowhere_;
  recording::Recorder recorder_;
};

}  // namespace quarnex
