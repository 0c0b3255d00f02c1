// Base of wrappers around services, such as recorders: passes every call and every event through one
// function.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "services/operation.h"
#include "services/services.h"

namespace quarnex {

/// A socket instance whose 19 operations are all calls of `policy.around(call, operate)`.
///
/// `operate(target)` performs the call on `target`, which is a `SocketInstance` or has the same methods, and
/// returns its result. The policy may run it on the wrapped instance, on a model, on both, several times or
/// not at all. The caller gets the policy's result or exception. Everything is resolved at compile time.
template <class Policy>
class InterceptedSocket final : public SocketInstance {
 public:
  template <class Owner>
  InterceptedSocket(Owner& owner, SocketId id) : policy(owner), id_(id) {}

  std::int32_t state() override {
    return around(Operation::State, [](auto& socket) { return socket.state(); });
  }
  std::string statusText() override {
    return around(Operation::StatusText, [](auto& socket) { return socket.statusText(); });
  }
  std::int32_t localPort() override {
    return around(Operation::LocalPort, [](auto& socket) { return socket.localPort(); });
  }
  void setLocalPort(std::int32_t port) override {
    around(Operation::SetLocalPort, port, [port](auto& socket) { socket.setLocalPort(port); });
  }
  std::int32_t remotePort() override {
    return around(Operation::RemotePort, [](auto& socket) { return socket.remotePort(); });
  }
  void setRemotePort(std::int32_t port) override {
    around(Operation::SetRemotePort, port, [port](auto& socket) { socket.setRemotePort(port); });
  }
  void setLocalAddress(std::string_view dotted) override {
    around(Operation::SetLocalAddress, dotted, [dotted](auto& socket) { socket.setLocalAddress(dotted); });
  }
  std::string remoteHost() override {
    return around(Operation::RemoteHost, [](auto& socket) { return socket.remoteHost(); });
  }
  void setRemoteHost(std::string_view dotted) override {
    around(Operation::SetRemoteHost, dotted, [dotted](auto& socket) { socket.setRemoteHost(dotted); });
  }
  void close() override {
    around(Operation::Close, [](auto& socket) { socket.close(); });
  }
  void prepareA() override {
    around(Operation::PrepareA, [](auto& socket) { socket.prepareA(); });
  }
  void prepareB() override {
    around(Operation::PrepareB, [](auto& socket) { socket.prepareB(); });
  }
  void connect() override {
    around(Operation::Connect, [](auto& socket) { socket.connect(); });
  }
  void listen() override {
    around(Operation::Listen, [](auto& socket) { socket.listen(); });
  }
  void attach(std::int32_t handle) override {
    around(Operation::Attach, handle, [handle](auto& socket) { socket.attach(handle); });
  }
  std::int32_t bytesWaiting() override {
    return around(Operation::BytesWaiting, [](auto& socket) { return socket.bytesWaiting(); });
  }
  void fetch() override {
    around(Operation::Fetch, [](auto& socket) { socket.fetch(); });
  }
  std::string_view receivedText() override {
    return around(Operation::ReceivedText, [](auto& socket) { return socket.receivedText(); });
  }
  std::size_t unsentBytes() const override { return policy.inner->unsentBytes(); }
  void listenOn(std::string_view dotted) override { policy.inner->listenOn(dotted); }
  void allowCallers(const std::vector<std::string>& dotted) override { policy.inner->allowCallers(dotted); }
  std::uint64_t refusedCallers() const override { return policy.inner->refusedCallers(); }
  std::string peer() const override { return policy.inner->peer(); }
  void hangUp() override { policy.inner->hangUp(); }
  void send(std::string_view bytes) override {
    around(Operation::Send, bytes, [bytes](auto& socket) { socket.send(bytes); });
  }

  Policy policy;

 private:
  template <class Operate>
  auto around(Operation operation, const Operate& operate) {
    return policy.around(ServiceCall{operation, id_}, operate);
  }
  // Makes the operand in its place: a copy would have to wait until the text's address and size are stored.
  template <class Argument, class Operate>
  void around(Operation operation, Argument argument, const Operate& operate) {
    policy.around(ServiceCall{operation, id_, argument}, operate);
  }

  SocketId id_;
};

/// A set of services that wraps another one. Every call, event and tick passes through a member template of
/// `Derived`. Each template that `Derived` does not define is inherited and changes nothing:
///
///     class Counted final : public Interceptor<Counted, CountedSocket> {
///      public:
///       explicit Counted(const Services& inner) : Interceptor(inner) {}
///       template <class Operate>
///       auto around(const ServiceCall&, const Operate& operate) {
///         ++calls;
///         return operate();
///       }
///       std::uint64_t calls = 0;
///     };
///
/// `SocketPolicy` handles the calls on one socket instance (see `InterceptedSocket`). It is constructed from
/// the `Derived` and has a pointer `inner` to the wrapped instance, which `create` sets.
///
/// The inner services outlive the interceptor, which outlives its user. All instances report their events to
/// the receiver passed to the latest `create`.
template <class Derived, class SocketPolicy>
class Interceptor : public SocketService,
                    public TimerService,
                    public WallClock,
                    public TextFile,
                    protected SocketEvents,
                    protected TimerEvents {
 public:
  Interceptor(const Interceptor&) = delete;
  Interceptor& operator=(const Interceptor&) = delete;

  Services services() { return {*this, *this, *this, *this}; }

  /// Handles a call that is not on a socket instance: `create`, and every call of timer, clock and file.
  /// `operate()` performs it and returns its result (nothing for `create`).
  template <class Operate>
  auto around(const ServiceCall& /*call*/, const Operate& operate) {
    return operate();
  }
  /// Handles an event; `pass()` delivers it.
  template <class Pass>
  void deliver(const SocketEvent& /*event*/, const Pass& pass) {
    pass();
  }
  /// Handles a tick; `pass()` delivers it.
  template <class Pass>
  void tick(const Pass& pass) {
    pass();
  }
  /// Creates the instance for `SocketPolicy::inner`.
  auto makeInner(SocketId id, SocketEvents& events) {
    return inner_.sockets.create(id.array, id.index, events);
  }
  /// Called for each new instance, after its `create` succeeded.
  void created(SocketId /*id*/, SocketPolicy& /*policy*/) {}

 protected:
  explicit Interceptor(const Services& inner) : inner_(inner) {}

  const Services& inner() const { return inner_; }
  /// The receiver of socket events; nullptr before the first `create`.
  SocketEvents* socketEvents() const { return socketEvents_; }

  std::unique_ptr<SocketInstance> create(SocketArray array, std::int16_t index,
                                         SocketEvents& events) override {
    socketEvents_ = &events;
    const SocketId id{array, index};
    auto socket = std::make_unique<InterceptedSocket<SocketPolicy>>(derived(), id);
    derived().around(ServiceCall{Operation::Create, id},
                     [&] { socket->policy.inner = derived().makeInner(id, *this); });
    derived().created(id, socket->policy);
    return socket;
  }

  void limitOutput(std::size_t each, std::size_t all) override { inner_.sockets.limitOutput(each, all); }

  void setEvents(TimerEvents* events) override {
    timerEvents_ = events;
    inner_.timer.setEvents(events == nullptr ? nullptr : this);
  }
  std::int16_t period() override {
    return derived().around(ServiceCall{Operation::Period}, [&] { return inner_.timer.period(); });
  }
  void setPeriod(std::int16_t milliseconds) override {
    derived().around(ServiceCall{Operation::SetPeriod, {}, milliseconds},
                     [&] { inner_.timer.setPeriod(milliseconds); });
  }

  Instant now() override {
    return derived().around(ServiceCall{Operation::Now}, [&] { return inner_.clock.now(); });
  }
  std::int32_t utcOffset(Instant instant) override {
    return derived().around(ServiceCall{Operation::UtcOffset},
                            [&] { return inner_.clock.utcOffset(instant); });
  }

  Moment moment() override { return inner_.clock.moment(); }

  void create(const std::string& name) override {
    derived().around(ServiceCall{Operation::CreateLog, {}, name}, [&] { inner_.logFile.create(name); });
  }
  void write(std::string_view line) override {
    derived().around(ServiceCall{Operation::WriteLog, {}, line}, [&] { inner_.logFile.write(line); });
  }
  void close() override {
    derived().around(ServiceCall{Operation::CloseLog}, [&] { inner_.logFile.close(); });
  }

  void configure(const TextFileSettings& settings) override { inner_.logFile.configure(settings); }
  bool flush(std::chrono::milliseconds maxWait) override { return inner_.logFile.flush(maxWait); }
  WriteLosses losses() const override { return inner_.logFile.losses(); }

  void onConnect(SocketArray array, std::int16_t index, std::int16_t code) override {
    pass({EventKind::Connect, {array, index}, code});
  }
  void onClose(SocketArray array, std::int16_t index, std::int16_t code) override {
    pass({EventKind::Close, {array, index}, code});
  }
  void onReceive(SocketArray array, std::int16_t index, std::int16_t code) override {
    pass({EventKind::Receive, {array, index}, code});
  }
  void onAccept(SocketArray array, std::int16_t index, std::int32_t handle, std::int16_t code) override {
    pass({EventKind::Accept, {array, index}, code, handle});
  }
  void onTick() override {
    derived().tick([&] { timerEvents_->onTick(); });
  }

 private:
  Derived& derived() { return static_cast<Derived&>(*this); }
  void pass(const SocketEvent& event) {
    derived().deliver(event, [&] { quarnex::deliver(event, *socketEvents_); });
  }

  Services inner_;
  SocketEvents* socketEvents_ = nullptr;
  TimerEvents* timerEvents_ = nullptr;
};

}  // namespace quarnex
