#include "platform/windows/windows_socket.h"

#include <algorithm>
#include <utility>

#include "platform/windows/windows_errors.h"
#include "platform/windows/windows_sockets.h"

namespace quarnex {
namespace {

// True for errors that the network reports about a call; false if the call could not be started at all.
bool isNetworkAnswer(int error) {
  return error == WSAECONNREFUSED || error == WSAECONNRESET || error == WSAECONNABORTED ||
         error == WSAETIMEDOUT || error == WSAENETUNREACH || error == WSAEHOSTUNREACH ||
         error == WSAENETDOWN || error == WSAEHOSTDOWN;
}

bool isResetByPeer(int error) {
  return error == WSAECONNRESET || error == WSAECONNABORTED;
}

bool parse(const std::string& dottedText, in_addr& address) {
  return ::inet_pton(AF_INET, dottedText.c_str(), &address) == 1;
}

}  // namespace

WindowsSocket::~WindowsSocket() {
  close();
  sockets_.forget(*this);
}

void WindowsSocket::setLocalAddress(std::string_view dottedText) {
  localAddress_ = {};
  localAddressValid_ = dottedText.empty() || parse(std::string(dottedText), localAddress_);
}

void WindowsSocket::allowCallers(const std::vector<std::string>& dottedTexts) {
  if (!callers_) callers_ = std::make_unique<CallerFilter>();
  callers_->allow(dottedTexts);
}

// Passes unsent bytes to the system as far as it accepts them, and reads received bytes away: a close with
// unread bytes becomes a reset, which would overtake the last frame sent.
void WindowsSocket::close() {
  if (state_ == kSocketClosed) return;
  if (state_ == kSocketConnected) {
    sendUnsent();
    discardUnread(socket_);
  }
  sockets_.loop().forget(key_);
  socket_ = {};
  state_ = kSocketClosed;
  hasBytesWaiting_ = ending_ = false;
  fetched_ = true;
  broken_ = 0;
  sockets_.noteUnsent(unsent_.size(), 0);
  unsent_.clear();
}

void WindowsSocket::startUse(SocketHandle socket, WindowsLoop::Key key, SocketState state) {
  socket_ = std::move(socket);
  key_ = key;
  state_ = state;
}

void WindowsSocket::requireIdle() const {
  if (state_ != kSocketClosed) throw socketFailure(state_ == kSocketConnected ? WSAEISCONN : WSAEINVAL);
}

// Even if the system answers at once, the event comes with a later message.
void WindowsSocket::connect() {
  requireIdle();
  in_addr host{};
  if (!parse(remoteHost_, host)) throw socketFailure(WSAEADDRNOTAVAIL);
  const sockaddr_in peer = endpoint(host, remotePort_);
  SocketHandle calling = openSocket();
  const WindowsLoop::Key key = sockets_.loop().watch(calling.get(), FD_CONNECT, *this);
  const bool connected = ::connect(calling.get(), reinterpret_cast<const sockaddr*>(&peer), sizeof peer) == 0;
  const int error = connected ? WSAEWOULDBLOCK : ::WSAGetLastError();
  if (error != WSAEWOULDBLOCK && !isNetworkAnswer(error)) {
    sockets_.loop().forget(key);
    throw socketFailure(error);
  }
  startUse(std::move(calling), key, kSocketCalling);
  if (error != WSAEWOULDBLOCK) markBroken(error);
}

void WindowsSocket::listen() {
  if (state_ == kSocketListening) return;
  requireIdle();
  if (!localAddressValid_) throw socketFailure(WSAEADDRNOTAVAIL);
  SocketHandle listening = openPort(endpoint(localAddress_, localPort_));
  if (::listen(listening.get(), SOMAXCONN) != 0) throw socketFailure(::WSAGetLastError());
  const WindowsLoop::Key key = sockets_.loop().watch(listening.get(), FD_ACCEPT, *this);
  startUse(std::move(listening), key, kSocketListening);
}

void WindowsSocket::attach(std::int32_t handle) {
  WindowsSockets::IncomingCall call = sockets_.take(handle);
  close();
  const WindowsLoop::Key key = sockets_.loop().watch(call.connection.get(), interest(), *this);
  startUse(std::move(call.connection), key, kSocketConnected);
  remoteHost_ = std::move(call.host);
}

// Receiving makes the system post the next message for data, or the end of the connection. After an end that
// it has already posted, it posts nothing more.
void WindowsSocket::fetch() {
  if (state_ != kSocketConnected) throw socketFailure(WSAENOTCONN);
  hasBytesWaiting_ = false;
  fetched_ = true;
  const int count = sockets_.receive(*this, socket_.get());
  const int error = count < 0 ? ::WSAGetLastError() : 0;
  if (error != 0 && error != WSAEWOULDBLOCK) markBroken(error);
  if (count == 0) ending_ = true;
  if (ending_) sockets_.loop().checkLater(key_);
}

std::string_view WindowsSocket::receivedText() {
  return sockets_.received(*this);
}

void WindowsSocket::send(std::string_view bytes) {
  if (state_ != kSocketConnected) throw socketFailure(WSAENOTCONN);
  if (broken_ != 0) return;
  const bool inOrder = unsent_.empty();
  if (inOrder) bytes.remove_prefix(sendNow(bytes));
  if (bytes.empty()) return;
  sockets_.requireRoom(unsent_.size(), bytes.size());
  unsent_.append(bytes);
  sockets_.noteUnsent(0, bytes.size());
  if (inOrder) reportAgain();
}

std::string WindowsSocket::peer() const {
  sockaddr_in there{};
  int size = sizeof there;
  if (::getpeername(socket_.get(), reinterpret_cast<sockaddr*>(&there), &size) != 0) return {};
  return dotted(there.sin_addr) + ':' + std::to_string(::ntohs(there.sin_port));
}

// Unread bytes stay readable, and the close event follows them.
void WindowsSocket::hangUp() {
  if (state_ != kSocketConnected) return;
  ::shutdown(socket_.get(), SD_SEND);
  ending_ = true;
  sockets_.loop().checkLater(key_);
}

void WindowsSocket::onEvent(int event, int error) {
  if (state_ == kSocketListening) return acceptCaller();
  if (state_ == kSocketCalling) return endCall(error);
  if (error != 0) return raiseClose(broken_ != 0 ? broken_ : socketErrorNumber(error));
  if (event == FD_READ) hasBytesWaiting_ = true;
  if (event == FD_WRITE && !unsent_.empty()) {
    sendUnsent();
    if (unsent_.empty()) reportAgain();
  }
  if (event == FD_CLOSE) {
    ending_ = true;
    checkConnection();
  }
}

void WindowsSocket::onCheck() {
  if (state_ == kSocketListening) return acceptCaller();
  if (state_ == kSocketConnected) return checkConnection();
  if (broken_ != 0) return endCall(broken_);
  const int outcome = outcomeOfCall(socket_);
  if (outcome != kOpen) endCall(outcome);
}

// An orderly end is reported after every earlier byte has been fetched.
void WindowsSocket::checkConnection() {
  if (broken_ != 0) return raiseClose(broken_);
  if (!unsent_.empty()) sendUnsent();
  hasBytesWaiting_ = hasBytesWaiting_ || hasUnread(socket_);
  if (hasBytesWaiting_) return;
  const int end = endOf(socket_);
  if (end == kOpen && !ending_) return;
  raiseClose(socketErrorNumber(end == kOpen || end == WSAESHUTDOWN ? kEnded : end));
}

// One caller for each message; receiving it makes the system post the next message. The handlers may end this
// use or destroy this instance.
void WindowsSocket::acceptCaller() {
  WindowsSockets& sockets = sockets_;
  const WindowsLoop::Key use = key_;
  if (pausedAt_ == sockets.loop().ticks()) return;
  WindowsSocket* const older = sockets.acceptedBy(index_);
  if (older != nullptr && waits_ < kCallersWaitTicksMax && older->isReadBeforeCallers()) {
    ++waits_;
    return pauseUntilTick();
  }
  if (!sockets.loop().holds(use)) return;
  std::string host;
  SocketHandle incoming = acceptNext(host);
  if (!incoming.valid()) return;
  if (!isCallerWaiting(socket_)) waits_ = 0;
  const std::int32_t handle = sockets.offer({std::move(incoming), std::move(host)});
  events_.onAccept(array_, index_, handle, 0);
  sockets.withdrawOffer();
}

// A message that is already in the queue does not end the pause.
void WindowsSocket::pauseUntilTick() {
  pausedAt_ = sockets_.loop().ticks();
  sockets_.loop().pauseUntilTick(key_, FD_ACCEPT);
}

// Returns no socket if nobody waits any more, the caller is gone or not admitted, or accepting failed.
// A message for the new socket that carries the listener's number is dropped: the socket belongs to no use.
SocketHandle WindowsSocket::acceptNext(std::string& host) {
  sockaddr_in address{};
  int size = sizeof address;
  SocketHandle incoming(::accept(socket_.get(), reinterpret_cast<sockaddr*>(&address), &size));
  if (!incoming.valid()) {
    const int error = ::WSAGetLastError();
    if (error == WSAEWOULDBLOCK) waits_ = 0;
    if (error == WSAEWOULDBLOCK || error == WSAENOTCONN || isNetworkAnswer(error)) return {};
    pauseUntilTick();
    events_.onAccept(array_, index_, 0, socketErrorNumber(error));
    return {};
  }
  sockets_.loop().ignore(incoming.get());
  ::SetHandleInformation(reinterpret_cast<HANDLE>(incoming.get()), HANDLE_FLAG_INHERIT, 0);
  if (endOf(incoming) > 0) return {};
  host = dotted(address.sin_addr);
  if (callers_ && !callers_->admits(host)) closeWithReset(incoming);
  return incoming;
}

// A peer that answers and resets the connection at once has answered, so the call has succeeded and the end
// is an event of its own.
void WindowsSocket::endCall(int error) {
  if (isResetByPeer(error)) markBroken(std::exchange(error, 0));
  if (error == 0 && isConnectedToItself(socket_)) {
    closeWithReset(socket_);
    error = WSAECONNREFUSED;
  }
  if (error == 0) {
    state_ = kSocketConnected;
    reportAgain();
  } else {
    close();
  }
  events_.onConnect(array_, index_, socketErrorNumber(error));
}

// Asked before the next caller is accepted. If the peer has ended this connection, its bytes come first, at
// most 64 KiB a tick, and then its close event. An end behind unread bytes is not visible, so any unread
// bytes come first. The next caller waits as long as each tick fetches some.
bool WindowsSocket::isReadBeforeCallers() {
  if (state_ != kSocketConnected) return false;
  checkConnection();
  return state_ == kSocketConnected && hasBytesWaiting_ && std::exchange(fetched_, false);
}

void WindowsSocket::raiseClose(std::int16_t code) {
  close();
  events_.onClose(array_, index_, code);
}

long WindowsSocket::interest() const {
  return FD_READ | FD_CLOSE | (unsent_.empty() ? 0 : FD_WRITE);
}

// Makes a later message report all events that hold, including those already reported.
void WindowsSocket::reportAgain() {
  sockets_.loop().change(key_, interest());
}

// Returns the number of bytes that need no further attempt. If the connection is broken, these are all of
// them: its close event reports the loss. The system would take any single piece as a whole, however large.
std::size_t WindowsSocket::sendNow(std::string_view bytes) {
  constexpr std::size_t kPieceBytes = std::size_t{64} * 1024;
  std::size_t sent = 0;
  while (sent < bytes.size()) {
    const std::string_view piece = bytes.substr(sent, kPieceBytes);
    const int count = ::send(socket_.get(), piece.data(), static_cast<int>(piece.size()), 0);
    if (count < 0) {
      const int error = ::WSAGetLastError();
      if (error == WSAEWOULDBLOCK) return sent;
      if (error != WSAESHUTDOWN) markBroken(error);
      return bytes.size();
    }
    sent += static_cast<std::size_t>(count);
  }
  return sent;
}

void WindowsSocket::sendUnsent() {
  while (!unsent_.empty()) {
    const std::size_t count = sendNow(unsent_.front());
    if (count == 0) return;
    unsent_.consume(count);
    sockets_.noteUnsent(count, 0);
  }
}

void WindowsSocket::markBroken(int systemError) {
  broken_ = socketErrorNumber(systemError);
  sockets_.loop().checkLater(key_);
}

}  // namespace quarnex
