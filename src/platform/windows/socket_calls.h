// Opens, binds and examines Windows sockets. No call waits.
#pragma once

#include <winsock2.h>
// ws2tcpip.h needs winsock2.h before it.
#include <ws2tcpip.h>

#include <cstdint>
#include <string>

#include "platform/windows/socket_handle.h"

namespace quarnex {

/// The address and port; failure 10049 for a port outside 1 to `kPortMax`.
sockaddr_in endpoint(in_addr address, std::int32_t port);
std::string dotted(in_addr address);

/// A TCP socket that child processes do not inherit. Failure 10024 or 10055 if the system has none left.
SocketHandle openSocket();

/// The system's part of `openPort`, which tests replace.
struct PortCalls {
  int (*bind)(SOCKET socket, const sockaddr_in& here);  ///< returns an error of Windows Sockets or 0
  bool (*isHeld)(std::int32_t port);                    ///< true if a process listens on the port
};
extern const PortCalls kSystemPortCalls;

/// A socket that owns the port `here`: no other process can take its callers. While connections of an earlier
/// listener drain, the system may refuse to give the port exclusively; then it is bound once more without,
/// which the system refuses if another socket holds it. Failure 10048 if a process holds the port, 10013 if
/// the system reserves it.
SocketHandle openPort(const sockaddr_in& here, const PortCalls& calls = kSystemPortCalls);

bool isCallerWaiting(const SocketHandle& listening);
bool hasUnread(const SocketHandle& socket);
/// Error of the connection, or `kEnded` after its orderly end, or `kOpen`. Bytes before that have been read.
int endOf(const SocketHandle& socket);
constexpr int kEnded = 0, kOpen = -1;
/// 0 if the call has been answered, its error, or `kOpen`.
int outcomeOfCall(const SocketHandle& calling);

/// True if the system has connected a socket to itself: it called a local port on which nobody listened, and
/// the system chose that same port as its own.
bool isConnectedToItself(const SocketHandle& socket);
/// A reset leaves no TIME_WAIT state, which would keep a listener from the port.
void closeWithReset(SocketHandle& socket);
/// Reads received bytes away, 4 MiB at most.
void discardUnread(const SocketHandle& socket);

}  // namespace quarnex
