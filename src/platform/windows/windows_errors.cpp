#include "platform/windows/windows_errors.h"

#include <winsock2.h>

#include "services/socket_errors.h"

namespace quarnex {

std::int16_t socketErrorNumber(int systemError) {
  constexpr std::int16_t kUnknown = 10107;
  switch (systemError) {
    case 0:
      return 0;
    case ERROR_INVALID_HANDLE:
    case ERROR_INVALID_WINDOW_HANDLE:
      return 10009;
    case ERROR_NOT_ENOUGH_MEMORY:
    case ERROR_NO_SYSTEM_RESOURCES:
    case ERROR_NOT_ENOUGH_QUOTA:
    case WSAEPROCLIM:
      return 10055;
    case WSAEDISCON:
      return 10054;
    case WSANOTINITIALISED:
    case WSAVERNOTSUPPORTED:
      return 10091;
    default:
      return socketErrorDescription(systemError).empty() ? kUnknown : static_cast<std::int16_t>(systemError);
  }
}

Failure socketFailure(int systemError) {
  return numberedFailure(socketErrorNumber(systemError));
}

Failure fileFailure(std::uint32_t systemError) {
  constexpr std::uint32_t kDiskQuotaExceeded = 1295;  // ERROR_DISK_QUOTA_EXCEEDED of newer system headers
  switch (systemError) {
    case ERROR_FILE_EXISTS:
    case ERROR_ALREADY_EXISTS:
      return Failure(58, "File already exists");
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_INVALID_DRIVE:
    case ERROR_BAD_NETPATH:
    case ERROR_BAD_NET_NAME:
      return Failure(76, "Path not found");
    case ERROR_ACCESS_DENIED:
    case ERROR_WRITE_PROTECT:
    case ERROR_SHARING_VIOLATION:
    case ERROR_LOCK_VIOLATION:
      return Failure(70, "Permission denied");
    case ERROR_DISK_FULL:
    case ERROR_HANDLE_DISK_FULL:
    case kDiskQuotaExceeded:
      return Failure(61, "Disk full");
    case ERROR_INVALID_NAME:
      return Failure(52, "Bad file name or number");
    default:
      return Failure(75, "Path/File access error");
  }
}

}  // namespace quarnex
