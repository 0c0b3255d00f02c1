// Runs the Windows adapter for the contract suite.
#pragma once

#include "platform/windows/socket_calls.h"
#include "platform/windows/windows_platform.h"
// The adapter comes first.
#include "platform/common/adapter_harness.h"

namespace quarnex {

/// wine 8 reports a received reset as an orderly close.
inline bool runsUnderWine() {
  return ::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
}

struct WindowsSystem {
  using Platform = WindowsPlatform;
  using Socket = SocketHandle;
  using Size = int;
  static constexpr int kSendFlags = 0;

  static SocketHandle open() { return openSocket(); }
  static void becomeNonBlocking(const SocketHandle& socket) {
    u_long on = 1;
    ::ioctlsocket(socket.get(), static_cast<long>(FIONBIO), &on);
  }
  static bool wouldWait() { return ::WSAGetLastError() == WSAEWOULDBLOCK; }
  static void closeWithReset(SocketHandle& socket) { quarnex::closeWithReset(socket); }
  static DWORD process() { return ::GetCurrentProcessId(); }
  static void pause(std::chrono::milliseconds length) { ::Sleep(static_cast<DWORD>(length.count())); }
};

struct WindowsHarness : AdapterHarness<WindowsSystem> {
  int resetCode() override { return runsUnderWine() ? 0 : 10054; }
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
