#include "platform/windows/windows_loop.h"

#include <windows.h>

#include <algorithm>
#include <limits>
#include <utility>

#include "platform/windows/this_module.h"
#include "platform/windows/windows_errors.h"

namespace quarnex {
namespace {

using std::chrono::milliseconds;

constexpr wchar_t kClassName[] = L"QuarnexLoop";
constexpr UINT_PTR kTimer = 1;
// Of the numbers for messages of a window class, all that no control uses.
constexpr UINT kFirstNumber = WM_APP, kLastNumber = 0xBFFF;
constexpr int kMessagesPerTurnMax = 64;
constexpr unsigned kTicksPerRound = 50;

WindowsLoop::Key keyOf(SOCKET socket, UINT number) {
  return WindowsLoop::Key{socket} << 16 | number;
}
SOCKET socketOf(WindowsLoop::Key key) {
  return static_cast<SOCKET>(key >> 16);
}
UINT numberOf(WindowsLoop::Key key) {
  return static_cast<UINT>(key & 0xFFFF);
}

Failure lastFailure() {
  return socketFailure(static_cast<int>(::GetLastError()));
}

HWND makeWindow(WNDPROC receive) {
  WNDCLASSEXW description{};
  description.cbSize = sizeof description;
  description.lpfnWndProc = receive;
  description.hInstance = thisModule();
  description.lpszClassName = kClassName;
  ::RegisterClassExW(&description);  // another loop of this module may have done so
  const HWND window = ::CreateWindowExW(0, kClassName, nullptr, 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr,
                                        description.hInstance, nullptr);
  if (window == nullptr) throw lastFailure();
  return window;
}

}  // namespace

WindowsLoop::WindowsLoop() {
  if (const int error = ::WSAStartup(MAKEWORD(2, 2), &winsock_); error != 0) throw socketFailure(error);
  try {
    window_ = makeWindow(&WindowsLoop::receive);
  } catch (const Failure&) {
    ::WSACleanup();
    throw;
  }
  ::SetWindowLongPtrW(window_, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
}

WindowsLoop::~WindowsLoop() {
  if (window_ != nullptr) ::DestroyWindow(window_);
  ::UnregisterClassW(kClassName, thisModule());  // fails while another loop of this module has a window
  ::WSACleanup();
}

LRESULT CALLBACK WindowsLoop::receive(HWND window, UINT message, WPARAM word, LPARAM value) {
  auto* const self = reinterpret_cast<WindowsLoop*>(::GetWindowLongPtrW(window, GWLP_USERDATA));
  if (self != nullptr && self->take(message, word, value)) return 0;
  return ::DefWindowProcW(window, message, word, value);
}

// No exception may cross the system's code that calls this.
bool WindowsLoop::take(UINT message, WPARAM word, LPARAM value) {
  if (message == WM_NCDESTROY) window_ = nullptr;
  const bool ofSocket = message >= kFirstNumber && message <= kLastNumber;
  if (!ofSocket && message != WM_TIMER) return false;
  try {
    if (ofSocket) dispatch(keyOf(word, message), WSAGETSELECTEVENT(value), WSAGETSELECTERROR(value));
    // The timer may be a little early, and late by the phase of a tick that another message has run.
    const bool ticked = !turning_ && runDueTick(ofSocket ? milliseconds(0) : period_ / 2);
    if (ticked && afterOwnTick_) afterOwnTick_();
  } catch (...) {
    if (!thrown_) thrown_ = std::current_exception();
  }
  return true;
}

void WindowsLoop::dispatch(Key key, int event, int error) const {
  SocketWatcher* const watcher = watcherOf(key);
  if (watcher == nullptr) return;
  event == kCheck ? watcher->onCheck() : watcher->onEvent(event, error);
}

void WindowsLoop::turn(milliseconds maxWait) {
  if (window_ == nullptr) throw socketFailure(ERROR_INVALID_WINDOW_HANDLE);
  wait(thrown_ ? milliseconds(0) : maxWait);
  turning_ = true;
  pump();
  turning_ = false;
  if (thrown_) std::rethrow_exception(std::exchange(thrown_, nullptr));
  runDueTick(milliseconds(0));
}

void WindowsLoop::wait(milliseconds maxWait) const {
  const milliseconds tick = untilTick();
  if (maxWait.count() < 0 || (tick.count() >= 0 && tick < maxWait)) maxWait = tick;
  constexpr milliseconds::rep kMost = std::numeric_limits<std::int32_t>::max();
  const DWORD wait = maxWait.count() < 0 ? INFINITE : static_cast<DWORD>(std::min(maxWait.count(), kMost));
  if (::MsgWaitForMultipleObjectsEx(0, nullptr, wait, QS_ALLINPUT, MWMO_INPUTAVAILABLE) == WAIT_FAILED)
    throw lastFailure();
}

void WindowsLoop::pump() {
  MSG message{};
  for (int count = 0; count < kMessagesPerTurnMax; ++count) {
    if (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) == FALSE) return;
    if (message.message == WM_QUIT) return ::PostQuitMessage(static_cast<int>(message.wParam));
    ::TranslateMessage(&message);
    ::DispatchMessageW(&message);
  }
}

void WindowsLoop::setTick(std::int16_t period) {
  if (period == 0) ::KillTimer(window_, kTimer);
  if (period > 0 && ::SetTimer(window_, kTimer, static_cast<UINT>(period), nullptr) == 0) throw lastFailure();
  period_ = milliseconds(period);
  due_ = steadyNow() + period_;
}

milliseconds WindowsLoop::untilTick() const {
  if (thrown_) return milliseconds(0);
  if (period_.count() == 0) return milliseconds(-1);
  return std::max(milliseconds(0), std::chrono::ceil<milliseconds>(due_ - steadyNow()));
}

bool WindowsLoop::runDueTick(milliseconds early) {
  const SteadyTime now = steadyNow();
  if (period_.count() == 0 || now + early < due_) return false;
  due_ += period_;
  if (due_ <= now) due_ = now + period_;
  ++ticks_;
  resumePaused();
  if (tick_) tick_();
  checkSome();
  return true;
}

void WindowsLoop::resumePaused() {
  for (const Paused& paused : std::exchange(paused_, {})) {
    if (holds(paused.key)) change(paused.key, paused.events);
  }
}

void WindowsLoop::checkSome() {
  if (ticks_ % kTicksPerRound == 0) {
    for (const auto& [socket, slot] : slots_) toCheck_.push_back(slot.key);
    perTick_ = toCheck_.size() / kTicksPerRound + 1;
  }
  for (std::size_t count = 0; count < perTick_ && !toCheck_.empty(); ++count) {
    const Key key = toCheck_.back();
    toCheck_.pop_back();
    dispatch(key, kCheck, 0);
  }
}

WindowsLoop::Key WindowsLoop::watch(SOCKET socket, long events, SocketWatcher& watcher) {
  lastNumber_ = lastNumber_ < kFirstNumber || lastNumber_ == kLastNumber ? kFirstNumber : lastNumber_ + 1;
  const Key key = keyOf(socket, lastNumber_);
  if (::WSAAsyncSelect(socket, window_, lastNumber_, events) != 0) throw socketFailure(::WSAGetLastError());
  slots_.insert_or_assign(socket, WatchSlot{&watcher, key});
  return key;
}

void WindowsLoop::change(Key key, long events) {
  ::WSAAsyncSelect(socketOf(key), window_, events == 0 ? 0 : numberOf(key), events);
}

void WindowsLoop::ignore(SOCKET socket) const {
  ::WSAAsyncSelect(socket, window_, 0, 0);
}

void WindowsLoop::pauseUntilTick(Key key, long events) {
  paused_.push_back({key, events});
  change(key, 0);
}

// A message that the full queue refuses is lost like one of the system.
void WindowsLoop::post(Key key, int event, int error) const {
  ::PostMessageW(window_, numberOf(key), socketOf(key), MAKELPARAM(event, error));
}

void WindowsLoop::forget(Key key) {
  slots_.erase(socketOf(key));
}

SocketWatcher* WindowsLoop::watcherOf(Key key) const {
  const auto slot = slots_.find(socketOf(key));
  return slot == slots_.end() || slot->second.key != key ? nullptr : slot->second.watcher;
}

}  // namespace quarnex
