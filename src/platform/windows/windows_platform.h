// Bundles one message loop with the services that run on it, on Windows.
#pragma once

#include <chrono>
#include <functional>

#include "platform/common/host_platform.h"
#include "platform/common/log_text_file.h"
#include "platform/windows/windows_loop.h"
#include "platform/windows/windows_sockets.h"
#include "platform/windows/windows_time.h"

namespace quarnex {

class WindowsPlatform final : public HostPlatform {
 public:
  /// `systemSecond` is the system's clock, which tests replace.
  explicit WindowsPlatform(WindowsClock::SystemSecond systemSecond = secondOfSystem) : clock_(systemSecond) {}

  Services services() override { return {sockets_, timer_, clock_, logFile_}; }
  void turn(std::chrono::milliseconds maxWait) override { loop_.turn(maxWait); }
  std::chrono::milliseconds nextDeadline() const override { return loop_.untilTick(); }
  void afterTicks(const std::function<void()>& work) override { loop_.afterOwnTick(work); }
  WindowsLoop& loop() { return loop_; }

 private:
  WindowsLoop loop_;
  WindowsSockets sockets_{loop_};
  WindowsTimer timer_{loop_};
  WindowsClock clock_;
  LogTextFile logFile_;
};

}  // namespace quarnex
