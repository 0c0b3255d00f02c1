// Stores logs and recordings in Windows files.
#include <windows.h>
// sddl.h and aclapi.h need windows.h before them.
#include <sddl.h>

#include <algorithm>
#include <utility>

#include "platform/windows/windows_errors.h"
#include "services/storage.h"

namespace quarnex {
namespace {

class FileHandle {
 public:
  explicit FileHandle(HANDLE file) : file_(file) {}
  FileHandle(FileHandle&& other) noexcept : file_(std::exchange(other.file_, INVALID_HANDLE_VALUE)) {}
  FileHandle& operator=(FileHandle&&) = delete;
  ~FileHandle() {
    if (valid()) ::CloseHandle(file_);
  }
  bool valid() const { return file_ != INVALID_HANDLE_VALUE; }
  HANDLE get() const { return file_; }

 private:
  HANDLE file_;
};

OVERLAPPED placeAt(std::uintmax_t position) {
  OVERLAPPED place{};
  place.Offset = static_cast<DWORD>(position);
  place.OffsetHigh = static_cast<DWORD>(std::uint64_t{position} >> 32);
  return place;
}

class WindowsStorage final : public Storage {
 public:
  explicit WindowsStorage(FileHandle file) : file_(std::move(file)) {}

  std::int16_t writeAt(std::uintmax_t position, std::string_view bytes) override {
    constexpr std::size_t kWriteBytesMax = std::size_t{1} << 30;
    while (!bytes.empty()) {
      OVERLAPPED place = placeAt(position);
      DWORD count = 0;
      const auto size = static_cast<DWORD>(std::min(bytes.size(), kWriteBytesMax));
      const bool wrote = ::WriteFile(file_.get(), bytes.data(), size, &count, &place) != FALSE && count > 0;
      if (!wrote) return static_cast<std::int16_t>(fileFailure(::GetLastError()).number());
      position += count;
      bytes.remove_prefix(count);
    }
    return 0;
  }

  // Where that fails, the file keeps a part of a line.
  void cutTo(std::uintmax_t bytes) override {
    if (size() <= bytes) return;
    FILE_END_OF_FILE_INFO end{};
    end.EndOfFile.QuadPart = static_cast<LONGLONG>(bytes);
    ::SetFileInformationByHandle(file_.get(), FileEndOfFileInfo, &end, sizeof end);
  }

  std::uintmax_t size() override {
    LARGE_INTEGER bytes{};
    return ::GetFileSizeEx(file_.get(), &bytes) != FALSE ? static_cast<std::uintmax_t>(bytes.QuadPart) : 0;
  }

 private:
  FileHandle file_;
};

// Full access for the owner, the system and the administrators, and nothing inherited from the folder. File
// systems without permissions (FAT) refuse, which counts only where the file is another user's.
void restrictAccess(const FileHandle& file) {
  constexpr wchar_t kOwnerOnly[] = L"D:P(A;;FA;;;OW)(A;;FA;;;SY)(A;;FA;;;BA)";
  PSECURITY_DESCRIPTOR access = nullptr;
  if (::ConvertStringSecurityDescriptorToSecurityDescriptorW(kOwnerOnly, SDDL_REVISION_1, &access, nullptr) ==
      FALSE)
    throw fileFailure(::GetLastError());
  const DWORD error = ::SetKernelObjectSecurity(file.get(), DACL_SECURITY_INFORMATION, access) != FALSE
                          ? ERROR_SUCCESS
                          : ::GetLastError();
  ::LocalFree(access);
  if (error == ERROR_ACCESS_DENIED) throw fileFailure(error);
}

}  // namespace

// A file of the folder's group is one with the folder's permissions. Not through a link of the file system,
// and not a pipe or a device, which may wait. Other programs may read, rename and remove the file.
std::unique_ptr<Storage> createStorage(const std::filesystem::path& path, StorageAccess access) {
  constexpr DWORD kShared = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
  FileHandle file(::CreateFileW(path.c_str(), GENERIC_WRITE | FILE_READ_ATTRIBUTES | WRITE_DAC, kShared,
                                nullptr, access.mustBeNew ? CREATE_NEW : OPEN_ALWAYS,
                                FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
  if (!file.valid()) throw fileFailure(::GetLastError());
  FILE_BASIC_INFO facts{};
  if (::GetFileType(file.get()) != FILE_TYPE_DISK ||
      ::GetFileInformationByHandleEx(file.get(), FileBasicInfo, &facts, sizeof facts) == FALSE ||
      (facts.FileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0)
    throw fileFailure(ERROR_INVALID_PARAMETER);
  if (!access.groupMayRead) restrictAccess(file);
  if (::SetEndOfFile(file.get()) == FALSE) throw fileFailure(::GetLastError());
  return std::make_unique<WindowsStorage>(std::move(file));
}

}  // namespace quarnex
