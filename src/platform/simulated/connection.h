// Connection: two ends joined by two streams of bytes, with every fault that a network can cause on them.
#pragma once

#include <algorithm>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/simulated/random.h"
#include "platform/simulated/virtual_time.h"

namespace quarnex::simulated {

/// Windows Sockets number of a connection that its peer has reset.
constexpr std::int16_t kConnectionReset = 10054;

/// A port of a machine. Each machine has its own ports, and each sees itself as 127.0.0.1.
struct Address {
  int machine = 1;
  std::int32_t port = 0;
  auto operator<=>(const Address&) const = default;
};

/// How one direction of a connection behaves.
struct Conditions {
  Milliseconds delay = 0;          ///< from one end to the other
  Milliseconds jitter = 0;         ///< maximum of the random addition to the delay of each fragment
  std::uint32_t fragmentMax = 0;   ///< bytes are cut into random fragments of 1 to so many; 0 = not cut
  Milliseconds quantum = 0;        ///< bytes arrive at multiples of this, so that sends join; 0 = at any time
  std::size_t window = 1'048'576;  ///< bytes that may be on their way or unread; more wait at the sender
  std::size_t takenAtOnce = 0;     ///< bytes that the system takes of one send, the rest bit by bit; 0 = all
};

/// A part of a send, as it leaves.
struct Piece {
  enum class Ending : std::uint8_t { None, Orderly, Reset };
  std::string bytes;
  Milliseconds delay = 0;        ///< in addition to that of the direction
  Ending ending = Ending::None;  ///< the direction ends after the bytes, unknown to the sender
};

/// Changes one send on its way.
using Tamper = std::function<std::vector<Piece>(std::string_view sent)>;

class End;

/// Listens on a port or calls one, and owns an end of the connection that this makes.
class NetworkUser {
 public:
  virtual ~NetworkUser() = default;
  /// A caller has reached the port and is connected. The receiver must close `end`.
  virtual void onCaller(std::shared_ptr<End> end) = 0;
  /// False if a call to `host` is refused, because the listener has chosen another address of its machine.
  virtual bool listensOn(std::string_view /*host*/) const { return true; }
  /// The outcome of a call: its end of the connection and 0, or nullptr and the number of the failure.
  virtual void onOutcome(std::shared_ptr<End> end, std::int16_t code) = 0;
  /// Bytes have arrived. Only for owners that ask for it.
  virtual void onArrival() {}
  /// With 0 the peer has closed in the orderly way; bytes before that may still wait. With another code the
  /// connection is broken; nothing more can be taken.
  virtual void onEnd(std::int16_t code) = 0;
};

/// One direction of a connection: bytes on their way, each with the time of its arrival.
///
/// No byte overtakes another, whatever delay each was given. A stream ends once, in the orderly way (code 0)
/// or by a break. It reuses its storage, so that steady traffic allocates nothing.
class Stream {
 public:
  void append(std::string_view bytes, Milliseconds arrival) {
    bytes_ += bytes;
    lastArrival_ = std::max(lastArrival_, arrival);
    marks_.push_back({bytes_.size(), lastArrival_});
  }
  /// The end arrives after everything appended so far.
  void end(Milliseconds arrival, std::int16_t code) {
    if (ending_) return;
    lastArrival_ = std::max(lastArrival_, arrival);
    ending_ = Ending{lastArrival_, code};
  }

  /// Bytes that have arrived and are not taken.
  std::size_t arrived(Milliseconds now) { return size() == 0 ? 0 : countArrived(now); }
  /// Bytes that are not taken, arrived or still on their way.
  std::size_t size() const { return bytes_.size() - taken_; }
  /// Moves at most `max` bytes that have arrived to the end of `into`.
  std::size_t take(std::string& into, std::size_t max, Milliseconds now);
  void dropArrived(Milliseconds now) { remove(arrived(now)); }

  /// The code of the end if that has arrived, even if bytes before it still wait.
  std::optional<std::int16_t> endArrived(Milliseconds now) const {
    return ending_ && !held_ && ending_->arrival <= now ? std::optional(ending_->code) : std::nullopt;
  }
  bool hasEnd() const { return ending_.has_value(); }
  /// The time at which everything appended so far has arrived.
  Milliseconds lastArrival() const { return lastArrival_; }

  /// Nothing arrives until the release; nothing is lost.
  void hold(bool held) { held_ = held; }
  bool held() const { return held_; }
  /// Everything on its way arrives now.
  void hurry(Milliseconds now);

 private:
  struct Mark {
    std::size_t end;  // bytes up to here ...
    Milliseconds arrival;
  };
  struct Ending {
    Milliseconds arrival;
    std::int16_t code;
  };

  std::size_t countArrived(Milliseconds now);
  void remove(std::size_t count);

  std::string bytes_;  // from `taken_` on
  std::size_t taken_ = 0;
  std::size_t arrived_ = 0;
  std::vector<Mark> marks_;  // from `nextMark_` on, ascending in both members
  std::size_t nextMark_ = 0;
  Milliseconds lastArrival_ = 0;
  std::optional<Ending> ending_;
  bool held_ = false;
};

class Connection;

/// One end of a connection. Its owner sends, takes and closes; everything else belongs to the network.
class End {
 public:
  End(Connection& connection, VirtualTime& time, End& other, Random random)
      : connection_(connection), time_(time), other_(other), random_(random) {}

  /// Names the owner. Earlier events are reported soon, but never inside this call.
  void setOwner(NetworkUser& owner, bool wantsArrivals = false);
  /// Bytes that can be taken now.
  std::size_t arrived() { return inbound_.arrived(time_.now()); }
  /// Moves at most `max` of them to the end of `into`.
  void take(std::string& into, std::size_t max);
  /// True if the peer has closed in the orderly way and all its bytes are taken.
  bool exhausted() { return inbound_.size() == 0 && inbound_.endArrived(time_.now()) == 0; }
  /// The code of the peer's end if that has arrived: 0 = orderly, bytes before it may still wait.
  std::optional<std::int16_t> ended() const { return inbound_.endArrived(time_.now()); }
  /// True if a reset has arrived.
  bool broken() const { return ended().value_or(0) != 0; }
  void send(std::string_view bytes);
  /// The owner's orderly close: unread input is dropped, sent bytes still travel, no more events are raised.
  void close() { leave(0); }
  void reset() { leave(kConnectionReset); }
  /// Closes as the system does when the owner vanishes: with a reset if input is unread.
  void abandon() { arrived() > 0 ? reset() : close(); }
  bool closed() const { return closed_; }
  /// Bytes that the system has not taken yet.
  std::size_t unsent() const { return outbox_.size() - outboxSent_; }
  /// Bytes of a send of `count` that the system would not take at once.
  std::size_t leftOf(std::size_t count) const {
    return outbox_.empty() ? count - std::min(count, room()) : count;
  }

  /// Of the machine at the other end, as this one sees it.
  std::string peerAddress;
  /// Apply to bytes that this end sends.
  Conditions conditions;
  Tamper tamper;
  /// Nothing that this end sends arrives until the release.
  void hold() { other_.inbound_.hold(true); }
  void release() {
    other_.inbound_.hold(false);
    other_.lookAt(time_.now());
  }
  /// Everything that this end has sent arrives at once.
  void hurry() {
    other_.inbound_.hurry(time_.now());
    other_.lookAt(time_.now());
  }
  /// Ends the direction from this end without its owner: in the orderly way with code 0, else by a break.
  void cut(std::int16_t code);

 private:
  void submit(std::string_view bytes, Milliseconds extraDelay);
  void drain();
  void dropOutbox();
  void scheduleDrain();
  std::size_t room() const;
  void transmit(std::string_view bytes, Milliseconds extraDelay);
  void leave(std::int16_t code);
  Milliseconds arrivalTime(Milliseconds extraDelay);
  void lookAt(Milliseconds when);
  void look();
  void resetAt(Milliseconds when);
  void resetForUnwantedBytes();

  Connection& connection_;
  VirtualTime& time_;
  End& other_;
  Random random_;
  Stream inbound_;
  std::string outbox_;  // bytes that the system has not taken yet, from `outboxSent_` on
  std::size_t outboxSent_ = 0;
  NetworkUser* owner_ = nullptr;
  bool wantsArrivals_ = false;
  bool endReported_ = false;
  bool closed_ = false;
  bool draining_ = false;  // a drain is scheduled
};

class Connection : public std::enable_shared_from_this<Connection> {
 public:
  Connection(VirtualTime& time, Random random, Address calledPort)
      : caller(*this, time, called, random.split()),
        called(*this, time, caller, random.split()),
        port(calledPort) {}
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  /// The calling end and the called end, at `port`.
  End caller;
  End called;
  const Address port;

  /// The same ends for owners, which keep the connection alive.
  std::shared_ptr<End> callerEnd() { return {shared_from_this(), &caller}; }
  std::shared_ptr<End> calledEnd() { return {shared_from_this(), &called}; }

  /// Both ends see the connection break with `code` at once, or close in the orderly way (0).
  void cutBoth(std::int16_t code) {
    caller.cut(code);
    called.cut(code);
  }
  void release() {
    caller.release();
    called.release();
  }
};

}  // namespace quarnex::simulated
