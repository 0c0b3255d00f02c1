#include "quarn/service_notifier.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "quarn/command.h"
#include "quarn/printable.h"

namespace quarnex::tool {
namespace {

constexpr std::size_t kAddressBytesMax = sizeof(sockaddr_un::sun_path);

std::string environment(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? "" : value;
}

// A leading "@" stands for the zero byte of a name that is in no file system.
std::string addressOf(std::string name) {
  if (name.size() >= kAddressBytesMax || (!name.starts_with('/') && !name.starts_with('@'))) return "";
  if (name.front() == '@') name.front() = '\0';
  return name;
}

// Half of the period in which the manager expects a sign of life. Another process may be meant.
std::chrono::microseconds watchdogPause() {
  constexpr std::uint64_t kLongestPeriod = 1'000'000ULL * 60 * 60 * 24 * 365;
  const std::string period = environment("WATCHDOG_USEC"), process = environment("WATCHDOG_PID");
  if (period.empty() || (!process.empty() && process != std::to_string(getpid()))) return {};
  try {
    return std::chrono::microseconds(wholeNumber(period, 1, kLongestPeriod) / 2);
  } catch (const std::invalid_argument&) {
    return {};
  }
}

}  // namespace

ServiceNotifier::ServiceNotifier() : address_(addressOf(environment("NOTIFY_SOCKET"))) {
  if (address_.empty()) return;
  socket_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  watchdogPause_ = watchdogPause();
}

ServiceNotifier::~ServiceNotifier() {
  if (socket_ >= 0) close(socket_);
}

void ServiceNotifier::update(const std::string& sentence) {
  if (socket_ < 0) return;
  ready_ = ready_ || send("READY=1");
  if (sentence != sentence_ && send("STATUS=" + printable(sentence))) sentence_ = sentence;
  const auto now = std::chrono::steady_clock::now();
  if (watchdogPause_.count() == 0 || now < watchdogSent_ + watchdogPause_) return;
  if (send("WATCHDOG=1")) watchdogSent_ = now;
}

void ServiceNotifier::stopping() const {
  if (socket_ >= 0) send("STOPPING=1");
}

bool ServiceNotifier::send(const std::string& message) const {
  sockaddr_un to{};
  to.sun_family = AF_UNIX;
  std::ranges::copy(address_, to.sun_path);
  const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + address_.size());
  return sendto(socket_, message.data(), message.size(), MSG_DONTWAIT | MSG_NOSIGNAL,
                reinterpret_cast<const sockaddr*>(&to), length) >= 0;
}

}  // namespace quarnex::tool
