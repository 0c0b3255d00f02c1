// Stores recordings in POSIX files, and starts the threads that write them without receiving signals.
#include "services/storage.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <utility>

#include "platform/posix/descriptor.h"
#include "platform/posix/error_numbers.h"

namespace quarnex {
namespace {

class PosixStorage final : public Storage {
 public:
  explicit PosixStorage(Descriptor file) : file_(std::move(file)) {}
  bool writeAt(std::uintmax_t position, std::string_view bytes) override;
  void cutTo(std::uintmax_t bytes) override;

 private:
  ssize_t put(std::uintmax_t position, std::string_view bytes);

  Descriptor file_;
};

bool PosixStorage::writeAt(std::uintmax_t position, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = put(position, bytes);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    position += static_cast<std::uintmax_t>(count);
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

void PosixStorage::cutTo(std::uintmax_t bytes) {
  const auto size = static_cast<off_t>(bytes);
  struct stat now {};
  if (::fstat(file_.get(), &now) != 0 || now.st_size <= size) return;
  // A device that cannot be truncated keeps its bytes.
  [[maybe_unused]] const int refused = ::ftruncate(file_.get(), size);
}

ssize_t PosixStorage::put(std::uintmax_t position, std::string_view bytes) {
  const ssize_t count = ::pwrite(file_.get(), bytes.data(), bytes.size(), static_cast<off_t>(position));
  const bool cannotGoBack = count < 0 && errno == ESPIPE;
  return cannotGoBack ? ::write(file_.get(), bytes.data(), bytes.size()) : count;
}

}  // namespace

std::unique_ptr<Storage> createStorage(const std::filesystem::path& path) {
  Descriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
  if (!file.valid()) throw fileFailure(errno);
  return std::make_unique<PosixStorage>(std::move(file));
}

// A new thread inherits the signal mask of the thread that starts it (pthread_create(3)).
std::thread startQuietThread(std::function<void()> body) {
  sigset_t all{};
  sigset_t before{};
  ::sigfillset(&all);
  ::pthread_sigmask(SIG_SETMASK, &all, &before);
  std::thread thread(std::move(body));
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
  return thread;
}

}  // namespace quarnex
