// Provides services in memory: properties read as last set, every operation succeeds, and nothing happens by
// itself. Replay, tests and benchmarks build on them.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "services/assertion.h"
#include "services/operation.h"
#include "services/services.h"

namespace quarnex {

/// A socket without a network. The owner may change all fields at any time.
class PlainSocket final : public SocketInstance {
 public:
  /// The properties that operations set.
  struct Settings {
    std::int32_t state = kSocketClosed;
    std::int32_t localPort = 0, remotePort = 0;
    std::string statusText{statusTextOf(kSocketClosed)};
    std::string remoteHost;
  };

  std::int32_t state() override { return settings.state; }
  std::string statusText() override { return settings.statusText; }
  std::int32_t localPort() override { return settings.localPort; }
  void setLocalPort(std::int32_t port) override { settings.localPort = port; }
  std::int32_t remotePort() override { return settings.remotePort; }
  void setRemotePort(std::int32_t port) override { settings.remotePort = port; }
  void setLocalAddress(std::string_view) override {}
  std::string remoteHost() override { return settings.remoteHost; }
  void setRemoteHost(std::string_view dotted) override { settings.remoteHost = dotted; }
  void close() override { become(kSocketClosed); }
  void prepareA() override {}
  void prepareB() override {}
  void connect() override { become(kSocketCalling); }
  void listen() override { become(kSocketListening); }
  /// Becomes connected. The remote host becomes "", because the caller's address is unknown.
  void attach(std::int32_t /*handle*/) override;
  std::int32_t bytesWaiting() override { return reportedBytes.value_or(0); }
  void fetch() override;
  std::string_view receivedText() override { return received; }
  std::string peer() const override { return settings.remoteHost; }
  void send(std::string_view) override {}

  /// Sets state and status text.
  void become(SocketState state);
  /// Changes them as this event does.
  void follow(EventKind event, std::int16_t code);
  /// Restores the settings that `operation` has changed, and no others, as after its failure.
  void restore(Operation operation, Settings&& before);

  /// The variable behind `state`, `localPort` or `remotePort`.
  std::int32_t& number(Operation property) {
    if (property == Operation::LocalPort) return settings.localPort;
    if (property == Operation::RemotePort) return settings.remotePort;
    QUARNEX_ASSERT(property == Operation::State);
    return settings.state;
  }
  /// The variable behind `statusText` or `remoteHost`.
  std::string& text(Operation property) {
    if (property == Operation::StatusText) return settings.statusText;
    QUARNEX_ASSERT(property == Operation::RemoteHost);
    return settings.remoteHost;
  }

  /// Makes `bytes` wait for the next fetch.
  void arrive(std::string bytes) {
    reportedBytes = static_cast<std::int32_t>(bytes.size());
    waiting = std::move(bytes);
  }

  std::optional<std::int32_t> reportedBytes;  ///< returned by `bytesWaiting` until the next fetch; none = 0
  Settings settings;
  std::string waiting;   ///< taken by the next fetch, without a limit
  std::string received;  ///< taken by the last fetch
};

/// True if `operation` changes one of a socket's `PlainSocket::Settings`.
constexpr bool changesSettings(Operation operation) {
  using enum Operation;
  return operation == Close || operation == Connect || operation == Listen || operation == Attach ||
         operation == SetLocalPort || operation == SetRemotePort || operation == SetRemoteHost;
}

/// The four services. Time stands still: the owner calls `tick` and sets `time`.
struct PlainServices : SocketService, TimerService, WallClock, TextFile {
  Services all() { return {*this, *this, *this, *this}; }

  std::unique_ptr<SocketInstance> create(SocketArray, std::int16_t, SocketEvents&) override {
    return std::make_unique<PlainSocket>();
  }

  void setEvents(TimerEvents* events) override { timerEvents = events; }
  std::int16_t period() override { return milliseconds; }
  void setPeriod(std::int16_t period) override { milliseconds = period; }
  void tick() const {
    if (timerEvents != nullptr) timerEvents->onTick();
  }

  Instant now() override { return time; }
  std::int32_t utcOffset(Instant) override { return offset; }
  Moment moment() override { return {time.second, time.second * 1000}; }

  void create(const std::string&) override {}
  void write(std::string_view) override {}
  void close() override {}

  TimerEvents* timerEvents = nullptr;
  std::int16_t milliseconds = 0;
  Instant time{1'800'000'000};
  std::int32_t offset = 0;  ///< seconds that local time is ahead of UTC
};

}  // namespace quarnex
