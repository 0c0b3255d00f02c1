// Runs an adapter for a real system in the contract suite, with peers on plain sockets. Include the adapter
// before it.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

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

inline const sockaddr* asSockaddr(const sockaddr_in& address) {
  return reinterpret_cast<const sockaddr*>(&address);
}

/// `System` names the type of an owned socket and the calls in which the systems differ.
template <class System>
class PlainPeer final : public Peer {
 public:
  using Socket = typename System::Socket;

  explicit PlainPeer(std::int32_t port) : socket_(System::open()) {
    const sockaddr_in address = loopback(port);
    if (::connect(socket_.get(), asSockaddr(address), sizeof address) != 0)
      throw std::runtime_error("no connection");
    System::becomeNonBlocking(socket_);
  }
  explicit PlainPeer(Socket connection) : socket_(std::move(connection)) {
    System::becomeNonBlocking(socket_);
  }
  void send(std::string_view bytes) override {
    const auto sent = ::send(socket_.get(), bytes.data(), static_cast<typename System::Size>(bytes.size()),
                             System::kSendFlags);
    EXPECT_EQ(sent, static_cast<decltype(sent)>(bytes.size()));
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
  void reset() override { System::closeWithReset(socket_); }
  const Socket& socket() const { return socket_; }

 private:
  void drain() {
    char buffer[4096];
    for (;;) {
      const auto count = ::recv(socket_.get(), buffer, sizeof buffer, 0);
      if (count <= 0) {
        ended_ = ended_ || count == 0 || !System::wouldWait();
        return;
      }
      received_.append(buffer, static_cast<std::size_t>(count));
    }
  }

  Socket socket_;
  std::string received_;
  bool ended_ = false;
};

template <class System>
class AdapterHarness : public Harness {
 public:
  AdapterHarness() { clockSetBy = 0; }
  Services services() override { return platform.services(); }
  bool runUntil(const std::function<bool()>& holds) override {
    using namespace std::chrono_literals;
    const auto end = std::chrono::steady_clock::now() + 20s;
    while (!holds()) {
      if (std::chrono::steady_clock::now() > end) return false;
      turn(1ms);
      ++turns;
    }
    return true;
  }
  void stall(std::chrono::milliseconds pause) override {
    System::pause(pause);
    turn(std::chrono::milliseconds(0));
  }
  bool setSystemClock(std::chrono::seconds by) override {
    clockSetBy += by.count();
    return true;
  }
  std::string folder() override { return folder_.path().string(); }
  std::string contentOf(const std::string& name) override { return quarnex::contentOf(name); }
  // Ports below the system's range for outgoing connections; each test process starts at another one.
  std::int32_t freePort() override {
    static int next = static_cast<int>(System::process()) * 61;
    for (;;) {
      const std::int32_t port = 12000 + next++ % 20000;
      const sockaddr_in address = loopback(port);
      const auto probe = System::open();
      if (::bind(probe.get(), asSockaddr(address), sizeof address) == 0) return port;
    }
  }
  std::unique_ptr<Peer> call(std::int32_t port) override { return std::make_unique<PlainPeer<System>>(port); }
  std::unique_ptr<Peer> answer(const std::function<void(std::int32_t)>& call) override {
    const auto listening = System::open();
    const sockaddr_in here = loopback(freePort());
    EXPECT_EQ(::bind(listening.get(), asSockaddr(here), sizeof here), 0);
    EXPECT_EQ(::listen(listening.get(), 1), 0);
    call(ntohs(here.sin_port));
    using Socket = typename System::Socket;
    return std::make_unique<PlainPeer<System>>(Socket(::accept(listening.get(), nullptr, nullptr)));
  }

  static inline std::int64_t clockSetBy = 0;
  typename System::Platform platform{[] { return secondOfSystem() + clockSetBy; }};
  int turns = 0;

 protected:
  virtual void turn(std::chrono::milliseconds maxWait) { platform.turn(maxWait); }

 private:
  TemporaryFolder folder_;
};

}  // namespace quarnex
