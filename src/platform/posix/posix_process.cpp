// Provides the POSIX platform for the process's own library, the descriptor of its loop, and the facts about
// the process.
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <ctime>

#include "platform/common/host_platform.h"
#include "platform/posix/descriptor.h"
#include "platform/posix/posix_platform.h"
#include "quarnex/host_loop.h"

namespace quarnex {
namespace {

// In virtual time the next turn always has something to do.
int alwaysReadable() {
  static const Descriptor only(eventfd(1, EFD_CLOEXEC));
  return only.get();
}

}  // namespace

std::unique_ptr<HostPlatform> makeHostPlatform() {
  return std::make_unique<PosixPlatform>();
}

int HostLoop::fd() const {
  const HostPlatform* const platform = processPlatform();
  return platform == nullptr ? alwaysReadable() : static_cast<const PosixPlatform*>(platform)->fd();
}

LocalTime localTimeOfSystem() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  ::localtime_r(&now, &local);
  return {local.tm_year + std::int64_t{1900},
          local.tm_mon + 1,
          local.tm_mday,
          local.tm_hour,
          local.tm_min,
          local.tm_sec};
}

std::string programName() {
  return ::program_invocation_short_name;
}

unsigned long processNumber() {
  return static_cast<unsigned long>(::getpid());
}

std::filesystem::path trustedFolder(const char* variable) {
  const char* const folder = ::secure_getenv(variable);
  return folder == nullptr ? "" : folder;
}

std::filesystem::path pathOf(const std::string& name) {
  return name;
}

}  // namespace quarnex
