#include "platform/windows/socket_calls.h"

#include <iphlpapi.h>

#include <array>
#include <vector>

#include "platform/windows/windows_errors.h"
#include "services/socket_service.h"

namespace quarnex {
namespace {

template <class Value>
void setOption(const SocketHandle& socket, int level, int option, const Value& value) {
  ::setsockopt(socket.get(), level, option, reinterpret_cast<const char*>(&value), sizeof value);
}

void enableOption(const SocketHandle& socket, int level, int option) {
  setOption(socket, level, option, BOOL{TRUE});
}

int bindNow(SOCKET socket, const sockaddr_in& here) {
  return ::bind(socket, reinterpret_cast<const sockaddr*>(&here), sizeof here) == 0 ? 0 : ::WSAGetLastError();
}

// The table may grow between the two calls; then nobody is found.
bool hasListener(std::int32_t port) {
  DWORD size = 0;
  ::GetExtendedTcpTable(nullptr, &size, FALSE, AF_INET, TCP_TABLE_BASIC_LISTENER, 0);
  std::vector<DWORD> memory(size / sizeof(DWORD) + 1);
  auto* const table = reinterpret_cast<MIB_TCPTABLE*>(memory.data());
  if (::GetExtendedTcpTable(table, &size, FALSE, AF_INET, TCP_TABLE_BASIC_LISTENER, 0) != NO_ERROR)
    return false;
  for (DWORD row = 0; row < table->dwNumEntries; ++row) {
    if (::ntohs(static_cast<u_short>(table->table[row].dwLocalPort)) == port) return true;
  }
  return false;
}

}  // namespace

const PortCalls kSystemPortCalls{bindNow, hasListener};

sockaddr_in endpoint(in_addr address, std::int32_t port) {
  if (port < 1 || port > kPortMax) throw socketFailure(WSAEADDRNOTAVAIL);
  sockaddr_in result{};
  result.sin_family = AF_INET;
  result.sin_addr = address;
  result.sin_port = ::htons(static_cast<std::uint16_t>(port));
  return result;
}

std::string dotted(in_addr address) {
  char text[INET_ADDRSTRLEN] = "";
  ::inet_ntop(AF_INET, &address, text, sizeof text);
  return text;
}

// Urgent data is received in line, in its place; out of line, its byte would be missing from the stream.
// Accepted connections inherit both options.
SocketHandle openSocket() {
  SocketHandle socket(::WSASocketW(AF_INET, SOCK_STREAM, IPPROTO_TCP, nullptr, 0,
                                   WSA_FLAG_OVERLAPPED | WSA_FLAG_NO_HANDLE_INHERIT));
  if (!socket.valid()) throw socketFailure(::WSAGetLastError());
  enableOption(socket, IPPROTO_TCP, TCP_NODELAY);
  enableOption(socket, SOL_SOCKET, SO_OOBINLINE);
  return socket;
}

SocketHandle openPort(const sockaddr_in& here, const PortCalls& calls) {
  SocketHandle alone = openSocket();
  enableOption(alone, SOL_SOCKET, SO_EXCLUSIVEADDRUSE);
  int error = calls.bind(alone.get(), here);
  if (error == 0) return alone;
  if (error == WSAEACCES || error == WSAEADDRINUSE) {
    SocketHandle shared = openSocket();
    error = calls.bind(shared.get(), here);
    if (error == 0) return shared;
  }
  const bool held = error == WSAEACCES && calls.isHeld(::ntohs(here.sin_port));
  throw socketFailure(held ? WSAEADDRINUSE : error);
}

bool isCallerWaiting(const SocketHandle& listening) {
  WSAPOLLFD asked{listening.get(), POLLRDNORM, 0};
  return ::WSAPoll(&asked, 1, 0) > 0;
}

bool hasUnread(const SocketHandle& socket) {
  u_long count = 0;
  ::ioctlsocket(socket.get(), FIONREAD, &count);
  return count > 0;
}

int endOf(const SocketHandle& socket) {
  char byte = 0;
  const int count = ::recv(socket.get(), &byte, 1, MSG_PEEK);
  if (count == 0) return kEnded;
  const int error = count < 0 ? ::WSAGetLastError() : WSAEWOULDBLOCK;
  return error == WSAEWOULDBLOCK ? kOpen : error;
}

int outcomeOfCall(const SocketHandle& calling) {
  fd_set connected{1, {calling.get()}};
  fd_set failed = connected;
  timeval now{};
  if (::select(0, nullptr, &connected, &failed, &now) <= 0) return kOpen;
  int error = 0;
  int size = sizeof error;
  ::getsockopt(calling.get(), SOL_SOCKET, SO_ERROR, reinterpret_cast<char*>(&error), &size);
  return error;
}

bool isConnectedToItself(const SocketHandle& socket) {
  sockaddr_in here{};
  sockaddr_in there{};
  int hereSize = sizeof here;
  int thereSize = sizeof there;
  ::getsockname(socket.get(), reinterpret_cast<sockaddr*>(&here), &hereSize);
  ::getpeername(socket.get(), reinterpret_cast<sockaddr*>(&there), &thereSize);
  return here.sin_port == there.sin_port && here.sin_addr.s_addr == there.sin_addr.s_addr;
}

void closeWithReset(SocketHandle& socket) {
  setOption(socket, SOL_SOCKET, SO_LINGER, linger{1, 0});
  socket = {};
}

void discardUnread(const SocketHandle& socket) {
  constexpr int kDiscardsMax = 256;
  std::array<char, 16384> bytes;
  for (int count = 0; count < kDiscardsMax; ++count) {
    if (::recv(socket.get(), bytes.data(), static_cast<int>(bytes.size()), 0) <= 0) return;
  }
}

}  // namespace quarnex
