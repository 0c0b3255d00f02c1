#include "platform/posix/error_numbers.h"

#include <algorithm>
#include <cerrno>
#include <iterator>

#include "services/socket_errors.h"

namespace quarnex {
namespace {

struct ErrorNumber {
  int systemError;
  std::int16_t number;
  const char* description = nullptr;  // where the number's own is not exact enough
};

// Every errno that socket, bind, listen, accept, connect, send, recv, getsockopt, epoll and timerfd calls can
// return, and every error that the network can report on a connection. An errno without a Windows Sockets
// number of its own gets the nearest one.
constexpr ErrorNumber kSocketErrors[] = {
    {EINTR, 10004},
    {EBADF, 10009},
    {EACCES, 10013},
    {EPERM, 10013, "Operation not permitted"},
    {EFAULT, 10014},
    {EINVAL, 10022},
    {EMFILE, 10024},
    {ENFILE, 10024, "Too many open files in system"},
    {EAGAIN, 10035},
    {EINPROGRESS, 10036},
    {EALREADY, 10037},
    {ENOTSOCK, 10038},
    {EDESTADDRREQ, 10039},
    {EMSGSIZE, 10040},
    {EPROTOTYPE, 10041},
    {ENOPROTOOPT, 10042},
    {EPROTONOSUPPORT, 10043},
    {ESOCKTNOSUPPORT, 10044},
    {EOPNOTSUPP, 10045},
    {EPFNOSUPPORT, 10046},
    {EAFNOSUPPORT, 10047},
    {EADDRINUSE, 10048},
    {EADDRNOTAVAIL, 10049},
    {ENETDOWN, 10050},
    {ENONET, 10050, "Machine is not on the network"},
    {ENETUNREACH, 10051},
    {ENETRESET, 10052},
    {ECONNABORTED, 10053},
    {EPIPE, 10053, "Broken pipe"},
    {EPROTO, 10053, "Protocol error"},
    {ECONNRESET, 10054},
    {ENOBUFS, 10055},
    {ENOMEM, 10055, "Cannot allocate memory"},
    {ENOSPC, 10055, "No space left for more watched descriptors"},
    {EISCONN, 10056},
    {ENOTCONN, 10057},
    {ESHUTDOWN, 10058},
    {ETOOMANYREFS, 10059},
    {ETIMEDOUT, 10060},
    {ECONNREFUSED, 10061},
    {EHOSTDOWN, 10064},
    {EHOSTUNREACH, 10065},
};
constexpr ErrorNumber kUnknown = {-1, 10107};

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
  return row.description == nullptr ? numberedFailure(row.number) : Failure(row.number, row.description);
}

Failure fileFailure(int systemError) {
  switch (systemError) {
    case EEXIST:
      return Failure(58, "File already exists");
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
