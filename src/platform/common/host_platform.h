// Declares what each system provides for the process's own library: its services with their loop, and a few
// facts about the process.
#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "services/services.h"

namespace quarnex {

/// The services of one engine and the loop that runs them. Must outlive the library that uses it. Several
/// platforms in one process are independent of each other.
class HostPlatform {
 public:
  virtual ~HostPlatform() = default;
  virtual Services services() = 0;
  /// Like `HostLoop::turn`, for this loop.
  virtual void turn(std::chrono::milliseconds maxWait) = 0;
  /// Like `HostLoop::nextDeadline`, for this loop.
  virtual std::chrono::milliseconds nextDeadline() const = 0;
  /// `work` runs after each tick that the host's own loop delivers without a call of `turn`.
  virtual void afterTicks(const std::function<void()>& /*work*/) {}
};

std::unique_ptr<HostPlatform> makeHostPlatform();

/// The platform of the process's own library, composed on first use; nullptr while a stand-in replaces it.
HostPlatform* processPlatform();

/// Date and time that the system shows its users now.
LocalTime localTimeOfSystem();
/// The name of the running program, without its folder.
std::string programName();
unsigned long processNumber();
/// The value of an environment variable as a path; empty if there is none, or if the program has the rights
/// of another user than its caller.
std::filesystem::path trustedFolder(const char* variable);
/// The path that the bytes of `name` stand for.
std::filesystem::path pathOf(const std::string& name);

}  // namespace quarnex
