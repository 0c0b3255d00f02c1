// Reads the standard input and turns the tool's loop with poll.
#include <fcntl.h>
#include <langinfo.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string_view>
#include <vector>

#include "quarn/output_device.h"
#include "quarn/streams.h"

namespace quarnex::tool {
bool LineReader::isReadable() const {
  pollfd waited{descriptor_, POLLIN, 0};
  return poll(&waited, 1, 0) > 0;
}

void LineReader::readSome() {
  constexpr std::size_t kReadBytesMax = std::size_t{64} * 1024;
  buffer_.erase(0, start_);
  scanned_ -= start_;
  start_ = 0;
  const std::size_t held = buffer_.size();
  buffer_.resize(held + kReadBytesMax);
  const ssize_t got = read(descriptor_, buffer_.data() + held, kReadBytesMax);
  const int failure = errno;
  buffer_.resize(held + (got > 0 ? static_cast<std::size_t>(got) : 0));
  if (got > 0 || (got < 0 && (failure == EINTR || failure == EAGAIN))) return;
  ended_ = true;
  if (got < 0) error_ = std::strerror(failure);
}

bool isTerminal(int descriptor) {
  return isatty(descriptor) == 1;
}

TerminalSize terminalSize(int descriptor) {
  constexpr TerminalSize kUsual{24, 80};
  winsize size{};
  if (ioctl(descriptor, TIOCGWINSZ, &size) != 0 || size.ws_row == 0 || size.ws_col == 0) return kUsual;
  return {size.ws_row, size.ws_col};
}

bool standardInputIsNull() {
  struct stat input {};
  struct stat null {};
  return fstat(kStandardInput, &input) == 0 && stat("/dev/null", &null) == 0 && S_ISCHR(input.st_mode) &&
         input.st_rdev == null.st_rdev;
}

bool standardOutputIsWritable() {
  return (fcntl(kStandardOutput, F_GETFL) & O_ACCMODE) != O_RDONLY;
}

bool localeUsesUtf8() {
  return std::string_view(nl_langinfo(CODESET)) == "UTF-8";
}

void turnHost(HostLoop& loop, LineReader* input, std::initializer_list<OutputWriter*> outputs,
              std::chrono::milliseconds maxWait) {
  std::vector<pollfd> waited{{loop.fd(), POLLIN, 0}};
  for (const OutputWriter* output : outputs) waited.push_back({output->wake().number(), POLLIN, 0});
  if (input != nullptr) waited.push_back({input->descriptor(), POLLIN, 0});
  const int ready = poll(waited.data(), waited.size(), static_cast<int>(maxWait.count()));
  if (ready > 0 && input != nullptr && waited.back().revents != 0) input->readSome();
  for (const OutputWriter* output : outputs) output->wake().clear();
  loop.turn(std::chrono::milliseconds(0));
}

}  // namespace quarnex::tool
