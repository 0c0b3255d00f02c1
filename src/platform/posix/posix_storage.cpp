// Stores logs and recordings in POSIX files.
#include "services/storage.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "platform/posix/descriptor.h"
#include "platform/posix/error_numbers.h"

namespace quarnex {
namespace {

class PosixStorage final : public Storage {
 public:
  explicit PosixStorage(Descriptor file) : file_(std::move(file)) {}
  std::int16_t writeAt(std::uintmax_t position, std::string_view bytes) override;
  void cutTo(std::uintmax_t bytes) override;
  std::uintmax_t size() override;

 private:
  Descriptor file_;
};

std::int16_t numberOf(int systemError) {
  return static_cast<std::int16_t>(fileFailure(systemError).number());
}

std::int16_t PosixStorage::writeAt(std::uintmax_t position, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::pwrite(file_.get(), bytes.data(), bytes.size(), static_cast<off_t>(position));
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return numberOf(count < 0 ? errno : ENOSPC);
    position += static_cast<std::uintmax_t>(count);
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return 0;
}

void PosixStorage::cutTo(std::uintmax_t bytes) {
  // Where that fails, the file keeps a part of a line.
  if (size() > bytes) [[maybe_unused]]
    const int refused = ::ftruncate(file_.get(), static_cast<off_t>(bytes));
}

std::uintmax_t PosixStorage::size() {
  struct stat now {};
  return ::fstat(file_.get(), &now) == 0 ? static_cast<std::uintmax_t>(now.st_size) : 0;
}

// Some file systems cannot store permissions (vfat), so a refusal counts only where the file is another
// user's: that user could read what this process writes.
void restrictAccess(const Descriptor& file, const struct stat& now, mode_t mode) {
  if ((now.st_mode & 0777U) == mode || ::fchmod(file.get(), mode) == 0 || now.st_uid == ::geteuid()) return;
  throw fileFailure(EPERM);
}

}  // namespace

// Not through a symbolic link, which may lead to any file of this user (open(2), O_NOFOLLOW), and not a pipe
// or a device: opening a pipe would wait for its reader (O_NONBLOCK), and writing would wait, too.
std::unique_ptr<Storage> createStorage(const std::filesystem::path& path, StorageAccess access) {
  const mode_t mode = access.groupMayRead ? 0640 : 0600;
  const int exclusively = access.mustBeNew ? O_EXCL : 0;
  Descriptor file(
      ::open(path.c_str(), O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | exclusively, mode));
  if (!file.valid()) throw fileFailure(errno);
  struct stat now {};
  if (::fstat(file.get(), &now) != 0) throw fileFailure(errno);
  if (!S_ISREG(now.st_mode)) throw fileFailure(EINVAL);
  restrictAccess(file, now, mode);
  if (::ftruncate(file.get(), 0) != 0) throw fileFailure(errno);
  return std::make_unique<PosixStorage>(std::move(file));
}

}  // namespace quarnex
