// Runs the POSIX adapter for the contract suite, with peers on plain blocking sockets.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cerrno>
#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

#include "platform/posix/descriptor.h"
#include "platform/posix/posix_platform.h"
#include "services/services_contract.h"
#include "support/test_files.h"

namespace quarnex {

inline sockaddr_in loopback(std::int32_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  return address;
}

inline Descriptor plainSocket() {
  return Descriptor(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
}

class PlainPeer final : public Peer {
 public:
  explicit PlainPeer(std::int32_t port) : socket_(plainSocket()) {
    const sockaddr_in address = loopback(port);
    if (::connect(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
      throw std::runtime_error("no connection");
  }
  explicit PlainPeer(Descriptor connection) : socket_(std::move(connection)) {}
  void send(std::string_view bytes) override { send(bytes, 0); }
  void send(std::string_view bytes, int flags) {
    EXPECT_EQ(::send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL | flags),
              static_cast<ssize_t>(bytes.size()));
  }
  std::string receive() override {
    drain();
    return std::exchange(received_, {});
  }
  bool ended() override {
    drain();
    return ended_;
  }
  void close() override { socket_ = {}; }
  void shutDown() { ::shutdown(socket_.get(), SHUT_WR); }
  void reset() override {
    const linger hard{1, 0};
    ::setsockopt(socket_.get(), SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
    socket_ = {};
  }

 private:
  void drain() {
    char buffer[4096];
    ssize_t count = 0;
    while ((count = ::recv(socket_.get(), buffer, sizeof buffer, MSG_DONTWAIT)) > 0)
      received_.append(buffer, static_cast<std::size_t>(count));
    if (count == 0 || errno != EAGAIN) ended_ = true;
  }

  Descriptor socket_;
  std::string received_;
  bool ended_ = false;
};

class PosixHarness : public Harness {
 public:
  PosixHarness() { clockSetBy = 0; }
  Services services() override { return platform.services(); }
  bool runUntil(const std::function<bool()>& holds) override {
    using namespace std::chrono_literals;
    const auto end = std::chrono::steady_clock::now() + 20s;
    while (!holds()) {
      if (std::chrono::steady_clock::now() > end) return false;
      platform.turn(1ms);
      ++turns;
    }
    return true;
  }
  void stall(std::chrono::milliseconds pause) override {
    std::this_thread::sleep_for(pause);
    platform.turn(std::chrono::milliseconds(0));
  }
  bool setSystemClock(std::chrono::seconds by) override {
    clockSetBy += by.count();
    return true;
  }
  std::string folder() override { return folder_.path().string(); }
  std::string contentOf(const std::string& name) override { return quarnex::contentOf(name); }
  // Ports below the system's range for outgoing connections; each test process starts at another one.
  std::int32_t freePort() override {
    static int next = static_cast<int>(::getpid()) * 61;
    for (;;) {
      const std::int32_t port = 12000 + next++ % 20000;
      const sockaddr_in address = loopback(port);
      const Descriptor probe = plainSocket();
      if (::bind(probe.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) return port;
    }
  }
  std::unique_ptr<Peer> call(std::int32_t port) override { return std::make_unique<PlainPeer>(port); }

  std::unique_ptr<Peer> answer(const std::function<void(std::int32_t)>& call) override {
    const Descriptor listening = plainSocket();
    const sockaddr_in here = loopback(freePort());
    EXPECT_EQ(::bind(listening.get(), reinterpret_cast<const sockaddr*>(&here), sizeof here), 0);
    EXPECT_EQ(::listen(listening.get(), 1), 0);
    call(ntohs(here.sin_port));
    return std::make_unique<PlainPeer>(Descriptor(::accept(listening.get(), nullptr, nullptr)));
  }

  static inline std::int64_t clockSetBy = 0;
  PosixPlatform platform{[] { return secondOfSystem() + clockSetBy; }};
  int turns = 0;

 private:
  TemporaryFolder folder_;
};

}  // namespace quarnex
