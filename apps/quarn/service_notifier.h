// Reports the state of a session to the service manager that started the process ($NOTIFY_SOCKET).
#pragma once

#include <chrono>
#include <string>

namespace quarnex::tool {

/// Speaks the notification protocol of systemd without its library. Does nothing if the environment names no
/// socket. Never blocks: a message that the manager does not take is sent again at the next `update`.
class ServiceNotifier {
 public:
  ServiceNotifier();
  ~ServiceNotifier();
  ServiceNotifier(const ServiceNotifier&) = delete;
  ServiceNotifier& operator=(const ServiceNotifier&) = delete;

  /// Reports READY once, STATUS when `sentence` has changed, and WATCHDOG twice in each period that the
  /// manager demands ($WATCHDOG_USEC). Call it in every turn of the loop.
  void update(const std::string& sentence);
  /// Reports that the session closes its link.
  void stopping() const;

 private:
  bool send(const std::string& message) const;

  int socket_ = -1;
  std::string address_;                        // as sockaddr_un has it in sun_path
  std::chrono::microseconds watchdogPause_{};  // 0 = no watchdog
  std::chrono::steady_clock::time_point watchdogSent_;
  bool ready_ = false;
  std::string sentence_;
};

}  // namespace quarnex::tool
