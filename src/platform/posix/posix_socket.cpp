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
constexpr int kDiscardsMax =
    64;  // 4 MiB: more is a sender without measure, and its connection may end in a reset

sockaddr_in endpoint(in_addr address, std::int32_t port) {
  if (port < 1 || port > 65535) throw socketFailure(EADDRNOTAVAIL);
  sockaddr_in result{};
  result.sin_family = AF_INET;
  result.sin_addr = address;
  result.sin_port = htons(static_cast<std::uint16_t>(port));
  return result;
}

const sockaddr* generic(const sockaddr_in& address) {
  return reinterpret_cast<const sockaddr*>(&address);
}
sockaddr* generic(sockaddr_in& address) {
  return reinterpret_cast<sockaddr*>(&address);
}

std::string dotted(in_addr address) {
  char text[INET_ADDRSTRLEN] = "";
  ::inet_ntop(AF_INET, &address, text, sizeof text);
  return text;
}

void switchOn(const Descriptor& socket, int level, int option) {
  const int on = 1;
  ::setsockopt(socket.get(), level, option, &on, sizeof on);
}

// Urgent data is data like any other: out of line, its byte would be missing. Accepted connections inherit
// both options.
Descriptor openSocket() {
  Descriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  if (!socket.valid()) throw socketFailure(errno);
  switchOn(socket, IPPROTO_TCP, TCP_NODELAY);
  switchOn(socket, SOL_SOCKET, SO_OOBINLINE);
  return socket;
}

// The error that the network has reported on the connection; reading it clears it.
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

// A call to a port of this machine on which nobody listens can, by the system's choice of the local port,
// meet itself.
bool isConnectedToItself(const Descriptor& socket) {
  sockaddr_in here{};
  sockaddr_in there{};
  socklen_t hereSize = sizeof here;
  socklen_t thereSize = sizeof there;
  ::getsockname(socket.get(), generic(here), &hereSize);
  ::getpeername(socket.get(), generic(there), &thereSize);
  return here.sin_port == there.sin_port && here.sin_addr.s_addr == there.sin_addr.s_addr;
}

// A reset, so that no trace of the connection keeps the port from whoever is to listen there.
void closeHard(Descriptor& socket) {
  const linger hard{1, 0};
  ::setsockopt(socket.get(), SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
  socket = {};
}

// The network's answer to a call, as opposed to a reason why the call could not be started.
bool isAnswer(int systemError) {
  return systemError == ECONNREFUSED || systemError == ECONNRESET || systemError == ETIMEDOUT ||
         systemError == ENETUNREACH || systemError == EHOSTUNREACH || systemError == ENETDOWN ||
         systemError == EHOSTDOWN;
}

// A caller that has vanished: accept(2) passes on what the network reported about it.
bool isCallersOwn(int systemError) {
  return systemError == ECONNABORTED || systemError == EPROTO || systemError == ENOPROTOOPT ||
         systemError == EOPNOTSUPP || systemError == ENONET || systemError == EINTR || isAnswer(systemError);
}

// The system looks for a descriptor before it looks for a caller, and the last one may just have been taken.
bool callerWaits(const Descriptor& listening) {
  pollfd asked{listening.get(), POLLIN, 0};
  return ::poll(&asked, 1, 0) > 0;
}

}  // namespace

PosixSocket::~PosixSocket() {
  close();
  sockets_.forget(*this);
}

void PosixSocket::operator delete(PosixSocket* socket, std::destroying_delete_t) {
  PosixSockets& sockets = socket->sockets_;
  socket->~PosixSocket();
  sockets.giveBackRoom(socket);
}

std::string PosixSocket::statusText() {
  switch (state_) {
    case kSocketListening:
      return "Listening";
    case kSocketCalling:
      return "Calling";
    case kSocketConnected:
      return "Connected";
    default:
      return "Closed";
  }
}

void PosixSocket::setLocalAddress(std::string_view dottedText) {
  localAddress_.s_addr = INADDR_ANY;
  localAddressValid_ =
      dottedText.empty() || ::inet_pton(AF_INET, std::string(dottedText).c_str(), &localAddress_) == 1;
}

// What is sent goes out as far as the system takes it, and what was received is read away: a close with
// unread bytes would reset the connection, and the reset would overtake the last frame.
void PosixSocket::close() {
  if (state_ == kSocketClosed) return;
  if (state_ == kSocketConnected) {
    sendUnsent();
    discardUnread();
  }
  sockets_.reactor().forget(key_);
  descriptor_ = {};
  state_ = kSocketClosed;
  bytesWait_ = ending_ = false;
  broken_ = 0;
  unsent_.clear();
}

void PosixSocket::begin(Descriptor descriptor, Reactor::Key key, SocketState state) {
  descriptor_ = std::move(descriptor);
  key_ = key;
  state_ = state;
}

void PosixSocket::requireIdle() const {
  if (state_ != kSocketClosed) throw socketFailure(state_ == kSocketConnected ? EISCONN : EINVAL);
}

// The system may answer at once; the event comes with a later turn all the same.
void PosixSocket::connect() {
  requireIdle();
  in_addr host{};
  if (::inet_pton(AF_INET, remoteHost_.c_str(), &host) != 1) throw socketFailure(EADDRNOTAVAIL);
  const sockaddr_in peer = endpoint(host, remotePort_);
  Descriptor calling = openSocket();
  const int error = ::connect(calling.get(), generic(peer), sizeof peer) == 0 ? 0 : errno;
  if (error != 0 && error != EINPROGRESS && !isAnswer(error)) throw socketFailure(error);
  const Reactor::Key key = sockets_.reactor().watchConnection(calling.get(), EPOLLOUT, *this);
  begin(std::move(calling), key, kSocketCalling);
  if (isAnswer(error)) broken_ = socketErrorNumber(error);
}

void PosixSocket::listen() {
  if (state_ == kSocketListening) return;
  requireIdle();
  if (!localAddressValid_) throw socketFailure(EADDRNOTAVAIL);
  const sockaddr_in here = endpoint(localAddress_, localPort_);
  Descriptor listening = openSocket();
  switchOn(listening, SOL_SOCKET, SO_REUSEADDR);
  if (::bind(listening.get(), generic(here), sizeof here) != 0) throw socketFailure(errno);
  if (::listen(listening.get(), SOMAXCONN) != 0) throw socketFailure(errno);
  const Reactor::Key key = sockets_.reactor().watch(listening.get(), EPOLLIN, *this);
  begin(std::move(listening), key, kSocketListening);
}

void PosixSocket::attach(std::int32_t handle) {
  PosixSockets::Caller caller = sockets_.take(handle);
  close();
  const Reactor::Key key = sockets_.reactor().watchConnection(caller.connection.get(), interest(), *this);
  begin(std::move(caller.connection), key, kSocketConnected);
  remoteHost_ = std::move(caller.host);
}

void PosixSocket::fetch() {
  if (state_ != kSocketConnected) throw socketFailure(ENOTCONN);
  bytesWait_ = false;
  if (sockets_.receive(*this, descriptor_.get()) < 0 && errno != EAGAIN) noteBroken(errno);
  if (ending_) lookAgain();
}

std::string_view PosixSocket::receivedText() {
  return sockets_.received(*this);
}

void PosixSocket::send(std::string_view bytes) {
  if (state_ != kSocketConnected) throw socketFailure(ENOTCONN);
  if (broken_ != 0) return;
  const bool inOrder = unsent_.empty();
  if (inOrder) bytes.remove_prefix(handOver(bytes));
  if (bytes.empty()) return;
  unsent_.append(bytes);
  if (inOrder) lookAgain();
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
    if (unsent_.empty()) lookAgain();
  }
  judgeEnd(events);
}

// Hang-ups and errors are readable, too; only bytes count here.
void PosixSocket::onReadable(std::uint32_t events) {
  if (state_ != kSocketConnected || bytesWait_) return;
  bytesWait_ = (events & (EPOLLRDHUP | EPOLLHUP | EPOLLERR)) == 0 || hasUnread(descriptor_);
}

// The handlers may end this use or destroy this instance, so nothing of it is looked at before the use is
// known to last.
void PosixSocket::acceptCallers() {
  PosixSockets& sockets = sockets_;
  const Reactor::Key use = key_;
  for (int count = 0; count < kCallersPerTurnMax && sockets.reactor().holds(use); ++count) {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    Descriptor incoming(::accept4(descriptor_.get(), generic(address), &size, SOCK_NONBLOCK | SOCK_CLOEXEC));
    if (!incoming.valid()) {
      const int error = errno;
      if (isCallersOwn(error)) continue;
      if (error == EAGAIN || !callerWaits(descriptor_)) return;
      sockets.reactor().pauseUntilTick(use, EPOLLIN);
      return events_.onAccept(array_, index_, 0, socketErrorNumber(error));
    }
    if (reportedError(incoming) != 0) continue;
    const std::int32_t handle = sockets.offer({std::move(incoming), dotted(address.sin_addr)});
    events_.onAccept(array_, index_, handle, 0);
    sockets.withdrawOffer();
  }
}

// A peer that has already closed and then reset (EPIPE) did answer, and may have sent something before.
void PosixSocket::endCall() {
  const int error = reportedError(descriptor_);
  std::int16_t code = broken_ != 0 ? broken_ : socketErrorNumber(error == EPIPE ? 0 : error);
  if (code == 0 && isConnectedToItself(descriptor_)) {
    closeHard(descriptor_);
    code = socketErrorNumber(ECONNREFUSED);
  }
  if (code == 0) {
    state_ = kSocketConnected;
    lookAgain();
  } else {
    close();
  }
  events_.onConnect(array_, index_, code);
}

// An orderly close counts after every byte before it has been fetched. A reset that follows one (EPIPE, say
// because something was sent to a peer that had gone) changes nothing about its order.
void PosixSocket::judgeEnd(std::uint32_t events) {
  if (broken_ != 0) return raiseClose(broken_);
  if ((events & (EPOLLRDHUP | EPOLLHUP | EPOLLERR)) == 0) return;
  const int error = reportedError(descriptor_);
  if (error != 0 && error != EPIPE) return raiseClose(socketErrorNumber(error));
  ending_ = hasUnread(descriptor_);
  if (!ending_) raiseClose(0);
}

void PosixSocket::raiseClose(std::int16_t code) {
  close();
  events_.onClose(array_, index_, code);
}

// Edges only: the end of a connection is told once, room for output when there is some again. A connection
// that an operation found broken need not look so to the system; room for output it has.
std::uint32_t PosixSocket::interest() const {
  const bool output = !unsent_.empty() || broken_ != 0;
  return static_cast<std::uint32_t>(EPOLLRDHUP) | EPOLLET | (output ? EPOLLOUT : 0U);
}

// Brings what holds of the connection as an event of a later turn, also what was told before.
void PosixSocket::lookAgain() {
  sockets_.reactor().change(key_, interest());
}

// Returns how many bytes are done with. Those that a broken connection does not take are: its close event
// tells.
std::size_t PosixSocket::handOver(std::string_view bytes) {
  const ssize_t count = ::send(descriptor_.get(), bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
  if (count >= 0) return static_cast<std::size_t>(count);
  if (errno == EAGAIN) return 0;
  if (errno != EPIPE) noteBroken(errno);
  return bytes.size();
}

void PosixSocket::sendUnsent() {
  while (!unsent_.empty()) {
    const std::size_t count = handOver(unsent_.front());
    if (count == 0) return;
    unsent_.consume(count);
  }
}

void PosixSocket::noteBroken(int systemError) {
  broken_ = socketErrorNumber(systemError);
  lookAgain();
}

void PosixSocket::discardUnread() {
  for (int count = 0; count < kDiscardsMax && sockets_.discard(descriptor_.get()) > 0; ++count) {
  }
}

}  // namespace quarnex
