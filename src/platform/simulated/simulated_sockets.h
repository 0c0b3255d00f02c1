// SimulatedSockets: a host's socket service on the simulated network, and the queue of its undelivered
// events.
#pragma once

#include <cstdint>
#include <deque>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "platform/simulated/random.h"
#include "platform/simulated/simulated_loop.h"
#include "platform/simulated/simulated_network.h"
#include "services/operation.h"

namespace quarnex::simulated {

class SimulatedSocket;

/// How events arrive late, twice or out of order. Chances are in a thousand.
struct EventDisorder {
  Milliseconds lateMax = 0;  ///< an event waits up to so long; the order stays
  std::uint32_t twice = 0;   ///< an event is delivered a second time
  std::uint32_t stale = 0;   ///< an event of a use that the library has ended is delivered all the same
  bool shuffled = false;     ///< the sockets that are ready at the same moment come in any order
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
  /// The same, by its own type: its callers need not look up what to call.
  std::unique_ptr<SimulatedSocket> make(SocketArray array, std::int16_t index, SocketEvents& events);

  /// Delivers what waits and is due; also from inside an operation or an event.
  void deliverPending();
  bool anyPending() const { return !pending_.empty(); }
  /// An event out of the blue, at once, also from inside an operation: as the real control may raise it. A
  /// close, and a failed connect, end the instance's use. False if there is no such instance.
  bool raise(SocketArray array, std::int16_t index, EventKind kind, std::int16_t code);

  EventDisorder disorder;
  /// Descriptors that the host may have: one for each instance that listens, calls or carries a connection.
  int descriptorsMax = std::numeric_limits<int>::max();
  int descriptors() const { return descriptors_; }
  /// Instances that listen, call or carry a connection, and callers that are being handed over.
  int inUse() const;
  /// The end of the connection that an instance carries, for whoever plays the network; nullptr if it carries
  /// none.
  End* end(SocketArray array, std::int16_t index);

 private:
  friend class SimulatedSocket;
  using Name = std::pair<SocketArray, std::int16_t>;

  struct Event {
    SimulatedSocket* instance;
    std::uint32_t use;  // the use of the instance that it belongs to
    EventKind kind;
    std::int16_t code;
    std::shared_ptr<End> end;  // of a new connection
    Milliseconds due = 0;
    bool hollow = false;      // told though its use has ended or was told before; changes nothing
    std::int32_t handle = 0;  // of a caller, once it is told
  };

  void post(Event event);
  void schedule();
  std::optional<Event> takeNext();
  bool isReady(std::size_t position) const;
  void deliver(Event event);
  void deliverCaller(Event event);
  static void drop(const Event& event);
  std::shared_ptr<End> takeOffered(std::int32_t handle);
  void requireDescriptor() const;
  void forget(SimulatedSocket& instance);

  Network& network_;
  Loop& loop_;
  int machine_;
  Random random_;
  int descriptors_ = 0;
  std::map<Name, SimulatedSocket*> instances_;
  std::deque<Event> pending_;             // in the order in which they came
  std::optional<Milliseconds> earliest_;  // due among them; nothing = not worked out
  Milliseconds lastDue_ = 0;
  VirtualTime::Appointment delivery_;
  std::map<std::int32_t, std::shared_ptr<End>> offered_;  // by handle, during the accept event
  std::int32_t lastHandle_ = 0;
  std::string received_;  // what the last fetch of any instance took
  const SimulatedSocket* receivedBy_ = nullptr;
};

}  // namespace quarnex::simulated
