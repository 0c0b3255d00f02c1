#include "platform/posix/posix_socket.h"

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <cerrno>
#include <string>
#include <utility>

#include "platform/posix/error_numbers.h"
#include "platform/posix/posix_sockets.h"

namespace quarnex {
namespace {

constexpr int kCallersPerTurnMax = 64;
constexpr int kDiscardsMax = 64;  // 4 MiB at most; a peer that has sent more may see a reset

sockaddr_in endpoint(in_addr address, std::int32_t port) {
  if (port < 1 || port > kPortMax) throw socketFailure(EADDRNOTAVAIL);
  sockaddr_in result{};
  result.sin_family = AF_INET;
  result.sin_addr = address;
  result.sin_port = htons(static_cast<std::uint16_t>(port));
  return result;
}

const sockaddr* asSockaddr(const sockaddr_in& address) {
  return reinterpret_cast<const sockaddr*>(&address);
}
sockaddr* asSockaddr(sockaddr_in& address) {
  return reinterpret_cast<sockaddr*>(&address);
}

std::string dotted(in_addr address) {
  char text[INET_ADDRSTRLEN] = "";
  ::inet_ntop(AF_INET, &address, text, sizeof text);
  return text;
}

void enableOption(const Descriptor& socket, int level, int option) {
  const int on = 1;
  ::setsockopt(socket.get(), level, option, &on, sizeof on);
}

// Urgent data is received in line, in its place; out of line, its byte would be missing from the stream.
// Accepted connections inherit both options.
Descriptor openSocket() {
  Descriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  if (!socket.valid()) throw socketFailure(errno);
  enableOption(socket, IPPROTO_TCP, TCP_NODELAY);
  enableOption(socket, SOL_SOCKET, SO_OOBINLINE);
  return socket;
}

// Returns the error that the network has reported on the connection, and clears it.
int reportedError(const Descriptor& socket) {
  int error = 0;
  socklen_t size = sizeof error;
  ::getsockopt(socket.get(), SOL_SOCKET, SO_ERROR, &error, &size);
  return error;
}

bool hasUnread(const Descriptor& socket) {
  int count = 0;
  ::ioctl(socket.get(), FIONREAD, &count);
  return count > 0;
}

// TCP lets a socket connect to itself if it calls a local port on which nobody listens and the system chooses
// that same port as its own.
bool isConnectedToItself(const Descriptor& socket) {
  sockaddr_in here{};
  sockaddr_in there{};
  socklen_t hereSize = sizeof here;
  socklen_t thereSize = sizeof there;
  ::getsockname(socket.get(), asSockaddr(here), &hereSize);
  ::getpeername(socket.get(), asSockaddr(there), &thereSize);
  return here.sin_port == there.sin_port && here.sin_addr.s_addr == there.sin_addr.s_addr;
}

// A reset leaves no TIME_WAIT state, which would keep a listener from the port.
void closeWithReset(Descriptor& socket) {
  const linger hard{1, 0};
  ::setsockopt(socket.get(), SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
  socket = {};
}

// True for errors that the network reports about a call; false if the call could not be started at all.
bool isNetworkAnswer(int systemError) {
  return systemError == ECONNREFUSED || systemError == ECONNRESET || systemError == ETIMEDOUT ||
         systemError == ENETUNREACH || systemError == EHOSTUNREACH || systemError == ENETDOWN ||
         systemError == EHOSTDOWN;
}

// accept(2) also returns errors that the network has reported about a caller that is gone.
bool hasCallerVanished(int systemError) {
  return systemError == ECONNABORTED || systemError == EPROTO || systemError == ENOPROTOOPT ||
         systemError == EOPNOTSUPP || systemError == ENONET || systemError == EINTR ||
         isNetworkAnswer(systemError);
}

// Returns those of `events` that hold now.
short polled(const Descriptor& socket, short events) {
  pollfd asked{socket.get(), events, 0};
  return ::poll(&asked, 1, 0) > 0 ? asked.revents : short{0};
}

// Needed because accept(2) reports a lack of descriptors even if no caller is waiting.
bool isCallerWaiting(const Descriptor& listening) {
  return polled(listening, POLLIN) != 0;
}

}  // namespace

PosixSocket::~PosixSocket() {
  close();
  sockets_.forget(*this);
}

void PosixSocket::setLocalAddress(std::string_view dottedText) {
  localAddress_.s_addr = INADDR_ANY;
  localAddressValid_ =
      dottedText.empty() || ::inet_pton(AF_INET, std::string(dottedText).c_str(), &localAddress_) == 1;
}

void PosixSocket::allowCallers(const std::vector<std::string>& dottedTexts) {
  if (!callers_) callers_ = std::make_unique<CallerFilter>();
  callers_->allow(dottedTexts);
}

// Passes unsent bytes to the system as far as it accepts them, and reads received bytes away: a close with
// unread bytes becomes a reset, which would overtake the last frame sent.
void PosixSocket::close() {
  if (state_ == kSocketClosed) return;
  if (state_ == kSocketConnected) {
    sendUnsent();
    discardUnread();
  }
  sockets_.reactor().forget(key_);
  descriptor_ = {};
  state_ = kSocketClosed;
  hasBytesWaiting_ = ending_ = false;
  fetched_ = true;
  broken_ = 0;
  sockets_.noteUnsent(unsent_.size(), 0);
  unsent_.clear();
}

void PosixSocket::startUse(Descriptor descriptor, Reactor::Key key, SocketState state) {
  descriptor_ = std::move(descriptor);
  key_ = key;
  state_ = state;
}

void PosixSocket::requireIdle() const {
  if (state_ != kSocketClosed) throw socketFailure(state_ == kSocketConnected ? EISCONN : EINVAL);
}

// Even if the system answers at once, the event comes with a later turn.
void PosixSocket::connect() {
  requireIdle();
  in_addr host{};
  if (::inet_pton(AF_INET, remoteHost_.c_str(), &host) != 1) throw socketFailure(EADDRNOTAVAIL);
  const sockaddr_in peer = endpoint(host, remotePort_);
  Descriptor calling = openSocket();
  const int error = ::connect(calling.get(), asSockaddr(peer), sizeof peer) == 0 ? 0 : errno;
  if (error != 0 && error != EINPROGRESS && !isNetworkAnswer(error)) throw socketFailure(error);
  const Reactor::Key key = sockets_.reactor().watchConnection(calling.get(), EPOLLOUT, *this);
  startUse(std::move(calling), key, kSocketCalling);
  if (isNetworkAnswer(error)) broken_ = socketErrorNumber(error);
}

void PosixSocket::listen() {
  if (state_ == kSocketListening) return;
  requireIdle();
  if (!localAddressValid_) throw socketFailure(EADDRNOTAVAIL);
  const sockaddr_in here = endpoint(localAddress_, localPort_);
  Descriptor listening = openSocket();
  enableOption(listening, SOL_SOCKET, SO_REUSEADDR);
  if (::bind(listening.get(), asSockaddr(here), sizeof here) != 0) throw socketFailure(errno);
  if (::listen(listening.get(), SOMAXCONN) != 0) throw socketFailure(errno);
  const Reactor::Key key = sockets_.reactor().watch(listening.get(), EPOLLIN, *this);
  startUse(std::move(listening), key, kSocketListening);
}

void PosixSocket::attach(std::int32_t handle) {
  PosixSockets::Caller caller = sockets_.take(handle);
  close();
  const Reactor::Key key = sockets_.reactor().watchConnection(caller.connection.get(), interest(), *this);
  startUse(std::move(caller.connection), key, kSocketConnected);
  remoteHost_ = std::move(caller.host);
}

void PosixSocket::fetch() {
  if (state_ != kSocketConnected) throw socketFailure(ENOTCONN);
  hasBytesWaiting_ = false;
  fetched_ = true;
  if (sockets_.receive(*this, descriptor_.get()) < 0 && errno != EAGAIN) markBroken(errno);
  if (ending_) reportAgain();
}

std::string_view PosixSocket::receivedText() {
  return sockets_.received(*this);
}

void PosixSocket::send(std::string_view bytes) {
  if (state_ != kSocketConnected) throw socketFailure(ENOTCONN);
  if (broken_ != 0) return;
  const bool inOrder = unsent_.empty();
  if (inOrder) bytes.remove_prefix(sendNow(bytes));
  if (bytes.empty()) return;
  sockets_.requireRoom(unsent_.size(), bytes.size());
  unsent_.append(bytes);
  sockets_.noteUnsent(0, bytes.size());
  if (inOrder) reportAgain();
}

std::string PosixSocket::peer() const {
  sockaddr_in there{};
  socklen_t size = sizeof there;
  if (::getpeername(descriptor_.get(), asSockaddr(there), &size) != 0) return {};
  return dotted(there.sin_addr) + ':' + std::to_string(ntohs(there.sin_port));
}

// The system reports the end of the connection like one by the peer.
void PosixSocket::hangUp() {
  if (state_ == kSocketConnected) ::shutdown(descriptor_.get(), SHUT_RDWR);
}

void PosixSocket::onReady(std::uint32_t events) {
  switch (state_) {
    case kSocketListening:
      return acceptCallers();
    case kSocketCalling:
      return endCall();
    default:
      break;
  }
  if ((events & EPOLLOUT) != 0 && !unsent_.empty()) {
    sendUnsent();
    if (unsent_.empty()) reportAgain();
  }
  checkForEnd(events);
}

// Hang-ups and errors also make a descriptor readable; only bytes count here.
void PosixSocket::onReadable(std::uint32_t events) {
  if (state_ != kSocketConnected || hasBytesWaiting_) return;
  hasBytesWaiting_ = (events & (EPOLLRDHUP | EPOLLHUP | EPOLLERR)) == 0 || hasUnread(descriptor_);
}

// The handlers may end this use or destroy this instance, so each pass checks that the use still lasts before
// it touches a member.
void PosixSocket::acceptCallers() {
  PosixSockets& sockets = sockets_;
  const Reactor::Key use = key_;
  for (int count = 0; count < kCallersPerTurnMax && sockets.reactor().holds(use); ++count) {
    PosixSocket* const older = sockets.acceptedBy(index_);
    if (older != nullptr && waits_ < kCallersWaitTicksMax && older->isReadToItsEnd()) {
      ++waits_;
      return sockets.reactor().pauseUntilTick(use, EPOLLIN);
    }
    if (!sockets.reactor().holds(use)) return;
    sockaddr_in address{};
    socklen_t size = sizeof address;
    Descriptor incoming(
        ::accept4(descriptor_.get(), asSockaddr(address), &size, SOCK_NONBLOCK | SOCK_CLOEXEC));
    if (!incoming.valid()) {
      const int error = errno;
      if (hasCallerVanished(error)) continue;
      if (error == EAGAIN || !isCallerWaiting(descriptor_)) {
        waits_ = 0;
        return;
      }
      sockets.reactor().pauseUntilTick(use, EPOLLIN);
      return events_.onAccept(array_, index_, 0, socketErrorNumber(error));
    }
    if (reportedError(incoming) != 0) continue;
    std::string host = dotted(address.sin_addr);
    if (callers_ && !callers_->admits(host)) {
      closeWithReset(incoming);
      continue;
    }
    const std::int32_t handle = sockets.offer({std::move(incoming), std::move(host)});
    events_.onAccept(array_, index_, handle, 0);
    sockets.withdrawOffer();
  }
}

// ECONNRESET and EPIPE: the peer has answered and then reset the connection; with EPIPE it closed before, and
// may have sent bytes. Either way there was a connection, so the call has succeeded and the end is an event
// of its own. A call that nobody answers fails with other errors.
void PosixSocket::endCall() {
  const int error = reportedError(descriptor_);
  const bool answered = error == 0 || error == ECONNRESET || error == EPIPE;
  std::int16_t code = broken_ != 0 ? broken_ : socketErrorNumber(answered ? 0 : error);
  if (code == 0 && isConnectedToItself(descriptor_)) {
    closeWithReset(descriptor_);
    code = socketErrorNumber(ECONNREFUSED);
  }
  if (code == 0) {
    state_ = kSocketConnected;
    if (error == ECONNRESET) broken_ = socketErrorNumber(error);
    reportAgain();
  } else {
    close();
  }
  events_.onConnect(array_, index_, code);
}

// An orderly close is reported after every earlier byte has been fetched. A reset after the close (EPIPE, for
// example because we sent to a peer that was gone) does not change that order.
void PosixSocket::checkForEnd(std::uint32_t events) {
  if (broken_ != 0) return raiseClose(broken_);
  if ((events & (EPOLLRDHUP | EPOLLHUP | EPOLLERR)) == 0) return;
  const int error = reportedError(descriptor_);
  if (error != 0 && error != EPIPE) return raiseClose(socketErrorNumber(error));
  ending_ = hasUnread(descriptor_);
  if (!ending_) raiseClose(0);
}

// Asked before the next caller is accepted. If the peer has ended this connection, its bytes come first, at
// most 64 KiB a tick, and then its close event. The next caller waits as long as each tick fetches some.
bool PosixSocket::isReadToItsEnd() {
  if (state_ != kSocketConnected) return false;
  const auto ended = static_cast<std::uint32_t>(polled(descriptor_, POLLRDHUP));
  if (ended == 0) return false;
  checkForEnd(ended);
  return state_ == kSocketConnected && std::exchange(fetched_, false);
}

void PosixSocket::raiseClose(std::int16_t code) {
  close();
  events_.onClose(array_, index_, code);
}

// Edge-triggered: epoll reports the end of a connection once, and writability when there is room again. A
// connection that an operation found broken may look healthy to epoll, but it is writable, so that event
// delivers the close.
std::uint32_t PosixSocket::interest() const {
  const bool output = !unsent_.empty() || broken_ != 0;
  return static_cast<std::uint32_t>(EPOLLRDHUP) | EPOLLET | (output ? EPOLLOUT : 0U);
}

// Makes a later turn report all events that hold on the connection, including those already reported.
void PosixSocket::reportAgain() {
  sockets_.reactor().change(key_, interest());
}

// Returns the number of bytes that need no further attempt. If the connection is broken, these are all of
// them: its close event reports the loss.
std::size_t PosixSocket::sendNow(std::string_view bytes) {
  const ssize_t count = ::send(descriptor_.get(), bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
  if (count >= 0) return static_cast<std::size_t>(count);
  if (errno == EAGAIN) return 0;
  if (errno != EPIPE) markBroken(errno);
  return bytes.size();
}

void PosixSocket::sendUnsent() {
  while (!unsent_.empty()) {
    const std::size_t count = sendNow(unsent_.front());
    if (count == 0) return;
    unsent_.consume(count);
    sockets_.noteUnsent(count, 0);
  }
}

void PosixSocket::markBroken(int systemError) {
  broken_ = socketErrorNumber(systemError);
  reportAgain();
}

void PosixSocket::discardUnread() {
  for (int count = 0; count < kDiscardsMax && sockets_.discard(descriptor_.get()) > 0; ++count) {
  }
}

}  // namespace quarnex
