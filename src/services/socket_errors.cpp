#include "services/socket_errors.h"

#include <algorithm>
#include <iterator>
#include <string>

namespace quarnex {
namespace {

struct SocketError {
  std::int16_t number;
  std::string_view description;
  std::string_view notice{};
};

constexpr SocketError kSocketErrors[] = {
    {10004, "Interrupted system call"},
    {10009, "Bad file descriptor"},
    {10013, "Permission denied"},
    {10014, "Bad address"},
    {10022, "Invalid argument"},
    {10024, "Too many open files"},
    {10035, "Resource temporarily unavailable"},
    {10036, "Operation now in progress"},
    {10037, "Operation already in progress"},
    {10038, "Socket operation on non-socket", "Socket operation on non-socket"},
    {10039, "Destination address required"},
    {10040, "Message too long"},
    {10041, "Protocol wrong type for socket"},
    {10042, "Protocol not available"},
    {10043, "Protocol not supported"},
    {10044, "Socket type not supported"},
    {10045, "Operation not supported"},
    {10046, "Protocol family not supported"},
    {10047, "Address family not supported by protocol"},
    {10048, "Address already in use", "The specified address is already in use"},
    {10049, "Cannot assign requested address", "The specified address is not available"},
    {10050, "Network is down"},
    {10051, "Network is unreachable"},
    {10052, "Network dropped connection on reset"},
    {10053, "Software caused connection abort", "The current connection has been aborted by the network"},
    {10054, "Connection reset by peer"},
    {10055, "No buffer space available"},
    {10056, "Socket is already connected"},
    {10057, "Socket is not connected"},
    {10058, "Cannot send after socket shutdown"},
    {10059, "Too many references"},
    {10060, "Connection timed out", "The current connection has timed out"},
    {10061, "Connection refused", "The requested connection has been refused by the remote host"},
    {10064, "Host is down", "Remote host is currently unavailable"},
    {10065, "No route to host", "Remote host is currently unreachable"},
    {10091, "System is not ready", "Remote system is not ready"},
    {10107, "System call failed"},
};

SocketError errorOf(std::int32_t number) {
  const SocketError* found = std::ranges::find(kSocketErrors, number, &SocketError::number);
  return found == std::end(kSocketErrors) ? SocketError{} : *found;
}

}  // namespace

std::string_view socketErrorDescription(std::int32_t number) {
  return errorOf(number).description;
}

std::string_view socketNoticeWords(std::int32_t number) {
  return errorOf(number).notice;
}

Failure numberedFailure(std::int16_t number) {
  return {number, std::string(socketErrorDescription(number))};
}

}  // namespace quarnex
