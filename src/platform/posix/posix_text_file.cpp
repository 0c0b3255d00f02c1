#include "platform/posix/posix_text_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <ctime>

#include "platform/posix/error_numbers.h"

namespace quarnex {
namespace {

constexpr std::size_t kKeptBytesMax = std::size_t{64} * 1024;

// Blocks SIGXFSZ, which a write beyond the process's file size limit raises (setrlimit(2)) and which would
// end the process.
class WithoutLimitSignal {
 public:
  WithoutLimitSignal() {
    ::sigemptyset(&signal_);
    ::sigaddset(&signal_, SIGXFSZ);
    ::pthread_sigmask(SIG_BLOCK, &signal_, &before_);
  }
  ~WithoutLimitSignal() {
    const timespec atOnce{};
    if (::sigismember(&before_, SIGXFSZ) == 0) ::sigtimedwait(&signal_, nullptr, &atOnce);
    ::pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }
  WithoutLimitSignal(const WithoutLimitSignal&) = delete;
  WithoutLimitSignal& operator=(const WithoutLimitSignal&) = delete;

 private:
  sigset_t signal_{};
  sigset_t before_{};
};

// Returns the number of bytes written.
std::size_t append(const Descriptor& file, std::string_view bytes) {
  std::size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t count = ::write(file.get(), bytes.data() + done, bytes.size() - done);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) break;
    done += static_cast<std::size_t>(count);
  }
  return done;
}

}  // namespace

PosixTextFile::~PosixTextFile() {
  close();
}

// O_APPEND: a program that truncates the growing file leaves no hole in it.
void PosixTextFile::create(const std::string& name) {
  close();
  if (name.find('\0') != std::string::npos) throw Failure(52, "Bad file name or number");
  Descriptor file(::open(name.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0666));
  if (!file.valid()) throw fileFailure(errno);
  file_ = std::move(file);
}

void PosixTextFile::write(std::string_view line) {
  if (!file_.valid()) return;
  kept_ += line;
  ends_.push_back(kept_.size());
  if (kept_.size() >= kKeptBytesMax) flush();
}

void PosixTextFile::close() {
  flush();
  file_ = {};
}

void PosixTextFile::flush() {
  if (ends_.empty()) return;
  const WithoutLimitSignal held;
  const std::size_t written = writeWholeLines(0);
  if (written < ends_.size()) writeWholeLines(written + 1);
  if (kept_.capacity() > 4 * kKeptBytesMax) kept_ = {};
  kept_.clear();
  ends_.clear();
}

// Writes the lines from number `first` on and returns the number of the first line that did not fit.
std::size_t PosixTextFile::writeWholeLines(std::size_t first) {
  const std::size_t start = first == 0 ? 0 : ends_[first - 1];
  const std::size_t reached = start + append(file_, std::string_view(kept_).substr(start));
  std::size_t line = first;
  while (line < ends_.size() && ends_[line] <= reached) ++line;
  const std::size_t whole = line == 0 ? 0 : ends_[line - 1];
  if (whole < reached) removeLast(reached - whole);
  return line;
}

void PosixTextFile::removeLast(std::size_t bytes) {
  struct stat now {};
  if (::fstat(file_.get(), &now) != 0) return;
  // A device that cannot be truncated keeps its bytes.
  [[maybe_unused]] const int refused = ::ftruncate(file_.get(), now.st_size - static_cast<off_t>(bytes));
}

}  // namespace quarnex
