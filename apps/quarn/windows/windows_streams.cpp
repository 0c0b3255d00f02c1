// Reads the standard input on a thread of its own, so that a pipe never delays a link, and turns the tool's
// loop.
#include <io.h>
#include <windows.h>

#include <array>
#include <mutex>
#include <string_view>
#include <utility>

#include "quarn/output_device.h"
#include "quarn/streams.h"
#include "services/threads.h"

namespace quarnex::tool {
namespace {

HANDLE handleOf(int descriptor) {
  return reinterpret_cast<HANDLE>(::_get_osfhandle(descriptor));
}

// What the thread has read and the loop has not taken.
struct StandardInput {
  void run();

  Monitor monitor;  // guards the members below
  std::string bytes;
  bool ended = false;
  std::string error;
  const LoopWake wake;
};

void StandardInput::run() {
  std::array<char, std::size_t{64} * 1024> block;
  std::unique_lock lock(monitor);
  while (!ended) {
    lock.unlock();
    DWORD count = 0;
    const bool read = ::ReadFile(handleOf(kStandardInput), block.data(), static_cast<DWORD>(block.size()),
                                 &count, nullptr) != FALSE;
    const DWORD failure = read ? ERROR_SUCCESS : ::GetLastError();
    lock.lock();
    bytes.append(block.data(), count);
    ended = count == 0;
    if (failure != ERROR_SUCCESS && failure != ERROR_BROKEN_PIPE && failure != ERROR_HANDLE_EOF)
      error = "error " + std::to_string(failure) + " of the system";
    wake.signal();
    monitor.wait([this] { return bytes.empty(); });
  }
}

// Lives as long as the thread, which may wait in a read when the process ends.
StandardInput& standardInput() {
  static StandardInput* const only = [] {
    auto* const input = new StandardInput;
    QuietThread([input] { input->run(); }).detach();
    return input;
  }();
  return *only;
}

}  // namespace

bool LineReader::isReadable() const {
  StandardInput& input = standardInput();
  const std::lock_guard lock(input.monitor);
  return !input.bytes.empty() || input.ended;
}

void LineReader::readSome() {
  StandardInput& input = standardInput();
  const std::lock_guard lock(input.monitor);
  buffer_.erase(0, start_);
  scanned_ -= start_;
  start_ = 0;
  ended_ = input.ended && input.bytes.empty();
  if (ended_) error_ = input.error;
  buffer_ += std::exchange(input.bytes, {});
  input.monitor.notifyAll();
}

bool isTerminal(int descriptor) {
  DWORD mode = 0;
  return ::GetConsoleMode(handleOf(descriptor), &mode) != FALSE;
}

TerminalSize terminalSize(int descriptor) {
  constexpr TerminalSize kUsual{24, 80};
  CONSOLE_SCREEN_BUFFER_INFO facts{};
  if (::GetConsoleScreenBufferInfo(handleOf(descriptor), &facts) == FALSE) return kUsual;
  return {facts.srWindow.Bottom - facts.srWindow.Top + 1, facts.srWindow.Right - facts.srWindow.Left + 1};
}

bool standardInputIsNull() {
  return ::GetFileType(handleOf(kStandardInput)) == FILE_TYPE_CHAR && !isTerminal(kStandardInput);
}

bool standardOutputIsWritable() {
  return ::GetFileType(handleOf(kStandardOutput)) != FILE_TYPE_UNKNOWN;
}

bool localeUsesUtf8() {
  return ::GetConsoleOutputCP() == CP_UTF8;
}

// The threads of input and outputs end the wait with a message.
void turnHost(HostLoop& loop, LineReader* input, std::initializer_list<OutputWriter*> /*outputs*/,
              std::chrono::milliseconds maxWait) {
  const bool reading = input != nullptr && input->isReadable();
  if (reading) input->readSome();
  loop.turn(reading ? std::chrono::milliseconds(0) : maxWait);
}

}  // namespace quarnex::tool
