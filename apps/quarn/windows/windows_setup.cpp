// Prepares the process and catches its interruptions on Windows.
#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <shellapi.h>

#include <clocale>
#include <cstddef>

#include "quarn/output_device.h"
#include "quarn/process_setup.h"
#include "quarn/streams.h"

namespace quarnex::tool {
namespace {

volatile LONG signalled = 0, lastRowReserved = 0;
const LoopWake* wakeOfLoop = nullptr;

// Runs on a thread of the system. After a close of the console, the system ends the process when this
// returns.
BOOL WINAPI onInterruption(DWORD kind) {
  constexpr UINT kInterrupted = 128 + 2, kTerminated = 128 + 15;
  constexpr DWORD kLongerThanTheSystemWaits = 60'000;
  if (::InterlockedExchange(&signalled, 1) != 0) {
    if (lastRowReserved != 0) writeSome(kStandardError, kFreeLastRow);
    ::ExitProcess(kind == CTRL_C_EVENT ? kInterrupted : kTerminated);
  }
  wakeOfLoop->signal();
  if (kind != CTRL_C_EVENT && kind != CTRL_BREAK_EVENT) ::Sleep(kLongerThanTheSystemWaits);
  return TRUE;
}

std::string utf8Of(const wchar_t* text) {
  std::string utf8(
      static_cast<std::size_t>(::WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr)),
      '\0');
  ::WideCharToMultiByte(CP_UTF8, 0, text, -1, utf8.data(), static_cast<int>(utf8.size()), nullptr, nullptr);
  utf8.pop_back();  // the terminating zero
  return utf8;
}

// So that a terminal obeys the control sequences of the progress line.
void enableControlSequences() {
  constexpr DWORD kVirtualTerminal = 4;  // ENABLE_VIRTUAL_TERMINAL_PROCESSING of Windows 10
  for (const DWORD output : {STD_OUTPUT_HANDLE, STD_ERROR_HANDLE}) {
    DWORD mode = 0;
    const HANDLE handle = ::GetStdHandle(output);
    if (::GetConsoleMode(handle, &mode) != FALSE) ::SetConsoleMode(handle, mode | kVirtualTerminal);
  }
}

}  // namespace

void prepareProcess() {
  for (const int descriptor : {kStandardInput, kStandardOutput, kStandardError})
    ::_setmode(descriptor, _O_BINARY);
  ::SetConsoleOutputCP(CP_UTF8);
  enableControlSequences();
  std::setlocale(LC_CTYPE, "");
}

std::vector<std::string> argumentsOf(int /*argc*/, char** /*argv*/) {
  int count = 0;
  wchar_t** const wide = ::CommandLineToArgvW(::GetCommandLineW(), &count);
  std::vector<std::string> arguments;
  for (int i = 1; i < count; ++i) arguments.push_back(utf8Of(wide[i]));
  ::LocalFree(wide);
  return arguments;
}

void catchInterruptions() {
  static const LoopWake only;
  wakeOfLoop = &only;
  ::SetConsoleCtrlHandler(onInterruption, TRUE);
}

void freeLastRowAfterSignal(bool on) {
  lastRowReserved = on ? 1 : 0;
}

bool interrupted() {
  return signalled != 0;
}

}  // namespace quarnex::tool
