#include "platform/posix/error_numbers.h"

#include <algorithm>
#include <cerrno>
#include <iterator>

namespace quarnex {
namespace {

struct ErrorNumber {
  int systemError;
  std::int16_t number;
  const char* description;
};

// Every errno that socket, bind, listen, accept, connect, send, recv, getsockopt, epoll and timerfd calls can
// return, and every error that the network can report on a connection. An errno without a Windows Sockets
// number of its own gets the nearest one.
constexpr ErrorNumber kSocketErrors[] = {
    {EINTR, 10004, "Interrupted system call"},
    {EBADF, 10009, "Bad file descriptor"},
    {EACCES, 10013, "Permission denied"},
    {EPERM, 10013, "Operation not permitted"},
    {EFAULT, 10014, "Bad address"},
    {EINVAL, 10022, "Invalid argument"},
    {EMFILE, 10024, "Too many open files"},
    {ENFILE, 10024, "Too many open files in system"},
    {EAGAIN, 10035, "Resource temporarily unavailable"},
    {EINPROGRESS, 10036, "Operation now in progress"},
    {EALREADY, 10037, "Operation already in progress"},
    {ENOTSOCK, 10038, "Socket operation on non-socket"},
    {EDESTADDRREQ, 10039, "Destination address required"},
    {EMSGSIZE, 10040, "Message too long"},
    {EPROTOTYPE, 10041, "Protocol wrong type for socket"},
    {ENOPROTOOPT, 10042, "Protocol not available"},
    {EPROTONOSUPPORT, 10043, "Protocol not supported"},
    {ESOCKTNOSUPPORT, 10044, "Socket type not supported"},
    {EOPNOTSUPP, 10045, "Operation not supported"},
    {EPFNOSUPPORT, 10046, "Protocol family not supported"},
    {EAFNOSUPPORT, 10047, "Address family not supported by protocol"},
    {EADDRINUSE, 10048, "Address already in use"},
    {EADDRNOTAVAIL, 10049, "Cannot assign requested address"},
    {ENETDOWN, 10050, "Network is down"},
    {ENONET, 10050, "Machine is not on the network"},
    {ENETUNREACH, 10051, "Network is unreachable"},
    {ENETRESET, 10052, "Network dropped connection on reset"},
    {ECONNABORTED, 10053, "Software caused connection abort"},
    {EPIPE, 10053, "Broken pipe"},
    {EPROTO, 10053, "Protocol error"},
    {ECONNRESET, 10054, "Connection reset by peer"},
    {ENOBUFS, 10055, "No buffer space available"},
    {ENOMEM, 10055, "Cannot allocate memory"},
    {ENOSPC, 10055, "No space left for more watched descriptors"},
    {EISCONN, 10056, "Socket is already connected"},
    {ENOTCONN, 10057, "Socket is not connected"},
    {ESHUTDOWN, 10058, "Cannot send after socket shutdown"},
    {ETOOMANYREFS, 10059, "Too many references"},
    {ETIMEDOUT, 10060, "Connection timed out"},
    {ECONNREFUSED, 10061, "Connection refused"},
    {EHOSTDOWN, 10064, "Host is down"},
    {EHOSTUNREACH, 10065, "No route to host"},
};
constexpr ErrorNumber kUnknown = {-1, 10107, "System call failed"};

const ErrorNumber& rowOf(int systemError) {
  const ErrorNumber* row =
      std::find_if(std::begin(kSocketErrors), std::end(kSocketErrors),
                   [=](const ErrorNumber& candidate) { return candidate.systemError == systemError; });
  return row == std::end(kSocketErrors) ? kUnknown : *row;
}

}  // namespace

std::int16_t socketErrorNumber(int systemError) {
  return systemError == 0 ? std::int16_t{0} : rowOf(systemError).number;
}

Failure socketFailure(int systemError) {
  const ErrorNumber& row = rowOf(systemError);
  return Failure(row.number, row.description);
}

Failure fileFailure(int systemError) {
  switch (systemError) {
    case ENOENT:
    case ENOTDIR:
      return Failure(76, "Path not found");
    case EACCES:
    case EPERM:
    case EROFS:
      return Failure(70, "Permission denied");
    case ENOSPC:
    case EDQUOT:
      return Failure(61, "Disk full");
    default:
      return Failure(75, "Path/File access error");
  }
}

}  // namespace quarnex
