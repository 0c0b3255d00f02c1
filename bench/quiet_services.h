// Services without a system behind them: sockets that are always connected, a timer that never ticks, no
// file.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "bench/settable_clock.h"
#include "host/engine.h"
#include "services/socket_service.h"
#include "services/text_file.h"
#include "services/timer_service.h"

namespace quarnex::bench {

class QuietSocket final : public SocketInstance {
 public:
  std::int32_t state() override { return kSocketConnected; }
  std::string statusText() override { return "Connected"; }
  std::int32_t localPort() override { return 0; }
  void setLocalPort(std::int32_t) override {}
  std::int32_t remotePort() override { return 0; }
  void setRemotePort(std::int32_t) override {}
  void setLocalAddress(std::string_view) override {}
  std::string remoteHost() override { return {}; }
  void setRemoteHost(std::string_view) override {}
  void close() override {}
  void prepareA() override {}
  void prepareB() override {}
  void connect() override {}
  void listen() override {}
  void attach(std::int32_t) override {}
  std::int32_t bytesWaiting() override { return bytesWaiting_; }
  void fetch() override {
    fetched_ = std::exchange(waiting_, {});
    bytesWaiting_ = 0;
  }
  std::string_view receivedText() override { return fetched_; }
  void send(std::string_view) override {}

  void deliver(std::string bytes) {
    waiting_ = std::move(bytes);
    bytesWaiting_ = static_cast<std::int32_t>(waiting_.size());
  }

 private:
  std::int32_t bytesWaiting_ = 0;
  std::string waiting_, fetched_;
};

class QuietSockets final : public SocketService {
 public:
  std::unique_ptr<SocketInstance> create(SocketArray, std::int16_t, SocketEvents&) override {
    return std::make_unique<QuietSocket>();
  }
};

class QuietTimer final : public TimerService {
 public:
  void setEvents(TimerEvents*) override {}
  std::int16_t period() override { return period_; }
  void setPeriod(std::int16_t milliseconds) override { period_ = milliseconds; }

 private:
  std::int16_t period_ = 0;
};

class NoFile final : public TextFile {
 public:
  void create(const std::string&) override {}
  void write(std::string_view) override {}
  void close() override {}
};

struct QuietServices {
  QuietSockets sockets;
  QuietTimer timer;
  SettableClock clock;
  NoFile file;

  Services all() { return {sockets, timer, clock, file}; }
};

}  // namespace quarnex::bench
