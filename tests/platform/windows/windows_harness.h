// Runs the Windows adapter for the contract suite, with peers on plain sockets.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "platform/windows/socket_calls.h"
#include "platform/windows/windows_platform.h"
#include "services/services_contract.h"
#include "support/test_files.h"

namespace quarnex {

inline sockaddr_in loopback(std::int32_t port) {
  in_addr address{};
  ::inet_pton(AF_INET, "127.0.0.1", &address);
  return endpoint(address, port);
}

inline const sockaddr* asSockaddr(const sockaddr_in& address) {
  return reinterpret_cast<const sockaddr*>(&address);
}

class PlainPeer final : public Peer {
 public:
  explicit PlainPeer(std::int32_t port) : socket_(openSocket()) {
    const sockaddr_in address = loopback(port);
    if (::connect(socket_.get(), asSockaddr(address), sizeof address) != 0)
      throw std::runtime_error("no connection");
    becomeNonBlocking();
  }
  explicit PlainPeer(SocketHandle connection) : socket_(std::move(connection)) { becomeNonBlocking(); }
  void send(std::string_view bytes) override {
    EXPECT_EQ(::send(socket_.get(), bytes.data(), static_cast<int>(bytes.size()), 0),
              static_cast<int>(bytes.size()));
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
  void reset() override { closeWithReset(socket_); }

 private:
  void becomeNonBlocking() {
    u_long on = 1;
    ::ioctlsocket(socket_.get(), static_cast<long>(FIONBIO), &on);
  }
  void drain() {
    char buffer[4096];
    int count = 0;
    while ((count = ::recv(socket_.get(), buffer, sizeof buffer, 0)) > 0)
      received_.append(buffer, static_cast<std::size_t>(count));
    if (count == 0 || ::WSAGetLastError() != WSAEWOULDBLOCK) ended_ = true;
  }

  SocketHandle socket_;
  std::string received_;
  bool ended_ = false;
};

/// wine 8 reports a received reset as an orderly close.
inline bool runsUnderWine() {
  return ::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
}

class WindowsHarness : public Harness {
 public:
  WindowsHarness() { clockSetBy = 0; }
  Services services() override { return platform.services(); }
  bool runUntil(const std::function<bool()>& holds) override {
    const SteadyTime end = steadyNow() + std::chrono::seconds(20);
    while (!holds()) {
      if (steadyNow() > end) return false;
      turn(std::chrono::milliseconds(1));
      ++turns;
    }
    return true;
  }
  void stall(std::chrono::milliseconds pause) override {
    ::Sleep(static_cast<DWORD>(pause.count()));
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
    static int next = static_cast<int>(::GetCurrentProcessId()) * 61;
    for (;;) {
      const std::int32_t port = 12000 + next++ % 20000;
      const sockaddr_in address = loopback(port);
      const SocketHandle probe = openSocket();
      if (::bind(probe.get(), asSockaddr(address), sizeof address) == 0) return port;
    }
  }
  std::unique_ptr<Peer> call(std::int32_t port) override { return std::make_unique<PlainPeer>(port); }

  std::unique_ptr<Peer> answer(const std::function<void(std::int32_t)>& call) override {
    const SocketHandle listening = openSocket();
    const sockaddr_in here = loopback(freePort());
    EXPECT_EQ(::bind(listening.get(), asSockaddr(here), sizeof here), 0);
    EXPECT_EQ(::listen(listening.get(), 1), 0);
    call(::ntohs(here.sin_port));
    return std::make_unique<PlainPeer>(SocketHandle(::accept(listening.get(), nullptr, nullptr)));
  }

  int resetCode() override { return runsUnderWine() ? 0 : 10054; }

  static inline std::int64_t clockSetBy = 0;
  WindowsPlatform platform{[] { return secondOfSystem() + clockSetBy; }};
  int turns = 0;

 protected:
  virtual void turn(std::chrono::milliseconds maxWait) { platform.turn(maxWait); }

 private:
  TemporaryFolder folder_;
};

/// A host with a message loop of its own, which never calls `turn`.
class MessageLoopHarness final : public WindowsHarness {
  void turn(std::chrono::milliseconds maxWait) override {
    ::MsgWaitForMultipleObjects(0, nullptr, FALSE, static_cast<DWORD>(maxWait.count()), QS_ALLINPUT);
    MSG message{};
    for (int count = 0; count < 10 && ::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) != FALSE; ++count)
      ::DispatchMessageW(&message);
  }
};

}  // namespace quarnex
