// Simulates a host's sockets on the network in memory, with their queue of undelivered events.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/simulated/random.h"
#include "platform/simulated/simulated_network.h"
#include "platform/simulated/simulated_timer.h"
#include "services/caller_filter.h"
#include "services/operation.h"
#include "services/output_budget.h"
#include "services/socket_errors.h"
#include "services/socket_service.h"

namespace quarnex::simulated {

class SimulatedSocket;

constexpr std::string_view kAnyAddress = "0.0.0.0";

/// How events arrive late, twice or out of order. Chances are in a thousand.
struct EventDisorder {
  Milliseconds lateMax = 0;  ///< an event waits up to so long; the order stays
  std::uint32_t twice = 0;   ///< an event is delivered a second time
  std::uint32_t stale = 0;   ///< an event of a use that the library has ended is delivered all the same
  bool shuffled = false;     ///< sockets that are ready at the same time come in any order
};

class SimulatedSockets final : public SocketService {
 public:
  SimulatedSockets(Network& network, Loop& loop, int machine, Random random)
      : network_(network), loop_(loop), machine_(machine), random_(random) {}
  ~SimulatedSockets() override;
  SimulatedSockets(const SimulatedSockets&) = delete;
  SimulatedSockets& operator=(const SimulatedSockets&) = delete;

  std::unique_ptr<SocketInstance> create(SocketArray array, std::int16_t index,
                                         SocketEvents& events) override;
  /// The same with its own type, for callers that avoid virtual calls.
  std::unique_ptr<SimulatedSocket> make(SocketArray array, std::int16_t index, SocketEvents& events);

  /// Delivers the events that are due; also from inside an operation or an event.
  void deliverPending();
  /// Raises an event without a reason, at once, also from inside an operation: as the real control may. A
  /// close and a failed connect end the instance's use. False if there is no such instance.
  bool raise(SocketArray array, std::int16_t index, EventKind kind, std::int16_t code);

  void limitOutput(std::size_t each, std::size_t all) override { output_.limit(each, all); }

  EventDisorder disorder;
  /// Descriptors that the host may have: one for each instance that listens, calls or carries a connection.
  int descriptorsMax = std::numeric_limits<int>::max();
  int descriptors() const { return descriptors_; }
  /// Instances that listen, call or carry a connection, and callers that are being accepted.
  int inUse() const;
  /// The end of the connection that an instance carries; nullptr if it carries none.
  End* end(SocketArray array, std::int16_t index);

 private:
  friend class SimulatedSocket;

  struct Event {
    SimulatedSocket* instance;
    std::uint32_t use;  // of the instance, to which the event belongs
    EventKind kind;
    std::int16_t code;
    std::shared_ptr<End> end;  // of a new connection
    Milliseconds due = 0;
    bool hollow = false;      // raised again, or after its use has ended; changes nothing
    std::int32_t handle = 0;  // of a caller, once it is raised
  };

  /// Where an instance stands; the end if there is none.
  std::vector<SimulatedSocket*>::iterator find(SocketArray array, std::int16_t index);
  void post(Event event);
  void postpone(Event event);
  void schedule();
  std::optional<Event> takeNext();
  bool isReady(std::size_t position) const;
  void deliver(Event event);
  void deliverCaller(Event event);
  static void drop(const Event& event);
  void requireDescriptor() const;
  void requireRoom(const End& end, std::size_t bytes) const;
  void forget(SimulatedSocket& instance);

  Network& network_;
  Loop& loop_;
  int machine_;
  Random random_;
  int descriptors_ = 0;
  OutputBudget output_;
  std::vector<SimulatedSocket*> instances_;
  std::deque<Event> pending_;             // in the order of arrival
  std::optional<Milliseconds> earliest_;  // due among them; nothing = not computed
  Milliseconds lastDue_ = 0;
  VirtualTime::Appointment delivery_;
  std::map<std::int32_t, std::shared_ptr<End>> offered_;  // by handle, during the accept event
  std::int32_t lastHandle_ = 0;
  std::string received_;  // by the last fetch of any instance
  const SimulatedSocket* receivedBy_ = nullptr;
};

class SimulatedSocket final : public SocketInstance, private NetworkUser {
 public:
  SimulatedSocket(SimulatedSockets& service, SocketArray array, std::int16_t index, SocketEvents& events)
      : service_(service), events_(events), array_(array), index_(index) {}
  ~SimulatedSocket() override {
    endUse();
    service_.forget(*this);
  }
  SimulatedSocket(const SimulatedSocket&) = delete;
  SimulatedSocket& operator=(const SimulatedSocket&) = delete;

  std::int32_t state() override { return state_; }
  std::string statusText() override { return std::string(statusTextOf(state_)); }
  std::int32_t localPort() override { return localPort_; }
  void setLocalPort(std::int32_t port) override { localPort_ = port; }
  std::int32_t remotePort() override { return remotePort_; }
  void setRemotePort(std::int32_t port) override { remotePort_ = port; }
  void setLocalAddress(std::string_view dotted) override { localAddress_ = dotted; }
  std::string remoteHost() override { return remoteHost_; }
  void setRemoteHost(std::string_view dotted) override { remoteHost_ = dotted; }
  void close() override { endUse(); }
  void prepareA() override {}
  void prepareB() override {}
  void connect() override;
  void listen() override;
  void attach(std::int32_t handle) override;
  std::int32_t bytesWaiting() override {
    if (end_ == nullptr) return 0;
    return static_cast<std::int32_t>(
        std::min<std::size_t>(end_->arrived(), std::numeric_limits<std::int32_t>::max()));
  }
  void fetch() override;
  std::string_view receivedText() override {
    return service_.receivedBy_ == this ? std::string_view(service_.received_) : std::string_view();
  }
  void send(std::string_view bytes) override {
    requireConnected();
    service_.requireRoom(*end_, bytes.size());
    end_->send(bytes);
  }
  std::size_t unsentBytes() const override { return end_ ? end_->unsent() : 0; }
  void listenOn(std::string_view dotted) override { setLocalAddress(dotted); }
  void allowCallers(const std::vector<std::string>& dotted) override { callers_.allow(dotted); }
  std::uint64_t refusedCallers() const override { return callers_.refused(); }
  // Callers have no ports.
  std::string peer() const override {
    if (array_ == SocketArray::ClientSocket) return remoteHost_ + ':' + std::to_string(remotePort_);
    return end_ ? end_->peerAddress : std::string();
  }
  void hangUp() override {
    if (end_) post(EventKind::Close, 0);
  }

 private:
  friend class SimulatedSockets;

  bool listensOnAny() const { return localAddress_.empty() || localAddress_ == kAnyAddress; }
  bool listensOn(std::string_view host) const override { return listensOnAny() || host == localAddress_; }
  void onCaller(std::shared_ptr<End> end) override { post(EventKind::Accept, 0, std::move(end)); }
  void onOutcome(std::shared_ptr<End> end, std::int16_t code) override {
    call_ = nullptr;
    post(EventKind::Connect, code, std::move(end));
  }
  // If bytes still wait, the fetch that takes the last of them raises the close.
  void onEnd(std::int16_t code) override {
    if (code != 0 || end_->exhausted()) post(EventKind::Close, code);
  }

  void post(EventKind kind, std::int16_t code, std::shared_ptr<End> end = nullptr) {
    service_.post({this, use_, kind, code, std::move(end)});
  }
  void beginUse(SocketState state) {
    ++use_;
    ++service_.descriptors_;
    state_ = state;
  }
  void carry(std::shared_ptr<End> end) {
    state_ = kSocketConnected;
    end_ = std::move(end);
    end_->setOwner(*this);
  }
  void endUse();
  bool isReadToItsEnd();
  bool closeIsDue() const { return end_ && (end_->broken() || end_->exhausted()); }
  void raiseClose();
  void requireIdle() const {
    if (state_ == kSocketConnected) throw numberedFailure(10056);
    if (state_ != kSocketClosed) throw numberedFailure(10022);
  }
  void requireConnected() const {
    if (end_ == nullptr) throw numberedFailure(10057);
  }

  SimulatedSockets& service_;
  SocketEvents& events_;
  SocketArray array_;
  std::int16_t index_;
  SocketState state_ = kSocketClosed;
  std::uint32_t use_ = 0;     // number of the present use: listening, calling or connected
  Milliseconds lastDue_ = 0;  // of the latest event posted for it
  bool fetched_ = true;       // since `isReadToItsEnd` was asked last
  int waits_ = 0;             // ticks for which callers of this listening instance have waited
  std::int32_t localPort_ = 0;
  std::int32_t remotePort_ = 0;
  std::string localAddress_;
  CallerFilter callers_;
  std::string remoteHost_;
  std::int32_t listeningPort_ = 0;
  std::shared_ptr<Call> call_;
  std::shared_ptr<End> end_;
};

}  // namespace quarnex::simulated
