// Connection: two ends joined by two streams, and all that a network can do to what travels between them.
#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/simulated/random.h"
#include "platform/simulated/stream.h"
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
  Milliseconds delay = 0;         ///< from one end to the other
  Milliseconds jitter = 0;        ///< up to so much is added to the delay of each fragment
  std::uint32_t fragmentMax = 0;  ///< bytes are cut at random into fragments of 1 to so many; 0 = not cut
  Milliseconds quantum = 0;  ///< arrivals come only at multiples of this, so that sends join; 0 = at any time
  std::size_t window = 1'048'576;  ///< bytes that may be on their way or unread; more waits at the sender
  std::size_t takenAtOnce = 0;     ///< bytes that the system takes of one send, the rest bit by bit; 0 = all
};

/// A part of what an end sends, as it really leaves.
struct Piece {
  enum class Ending : std::uint8_t { None, Orderly, Reset };
  std::string bytes;
  Milliseconds delay = 0;        ///< in addition to the direction's own
  Ending ending = Ending::None;  ///< the direction ends behind the bytes, unknown to the sender
};

/// Changes what one send puts on its way. A host sends each frame with one call, so "the k-th send" is the
/// k-th frame.
using Tamper = std::function<std::vector<Piece>(std::string_view sent)>;

/// Receiver of what happens at one end.
class EndEvents {
 public:
  virtual ~EndEvents() = default;
  /// Bytes have arrived. Only for owners that ask for it.
  virtual void onArrival() {}
  /// The peer has closed in the orderly way; bytes before that may still wait.
  virtual void onEnd() = 0;
  /// The connection is broken; nothing more can be taken.
  virtual void onBroken(std::int16_t code) = 0;
};

class Connection;

/// One end of a connection. Its owner sends, takes and closes; the rest is for whoever plays the network.
class End {
 public:
  End(Connection& connection, End& other, Random random)
      : connection_(connection), other_(other), random_(random) {}

  /// Names the owner. What has happened before is told soon, never inside this call.
  void setOwner(EndEvents& owner, bool tellArrivals = false);
  /// Bytes that can be taken now.
  std::size_t arrived();
  /// Moves at most `max` of them to the end of `into`.
  void take(std::string& into, std::size_t max);
  /// True if the peer has closed in the orderly way and nothing of what it sent is left to take.
  bool exhausted();
  /// True if a reset has arrived.
  bool broken() const;
  void send(std::string_view bytes);
  /// The owner's orderly close: unread input is dropped, what was sent still travels, nothing is told any
  /// more.
  void close();
  /// The owner's reset.
  void reset() { leave(kConnectionReset); }
  /// What the system does for an owner that vanishes: a reset if input is unread, else an orderly close.
  void abandon() { arrived() > 0 ? reset() : close(); }
  bool closed() const { return closed_; }
  const std::string& peerAddress() const { return peerAddress_; }
  /// Bytes that the system has not taken yet.
  std::size_t unsent() const { return outbox_.size() - outboxSent_; }

  /// Of what this end sends.
  Conditions conditions;
  Tamper tamper;
  /// Nothing that this end sends arrives any more, until it is released.
  void hold();
  void release();
  /// What this end has sent arrives at once.
  void hurry();
  /// Ends what this end sends without its owner: with code 0 like its orderly close, else like a break.
  void cut(std::int16_t code);

 private:
  friend class Connection;

  void submit(std::string_view bytes, Milliseconds extraDelay);
  void drain();
  void dropOutbox();
  void scheduleDrain();
  std::size_t room() const;
  void transmit(std::string_view bytes, Milliseconds extraDelay);
  void sendEnd(std::int16_t code);
  void leave(std::int16_t code);
  Milliseconds arrivalTime(Milliseconds extraDelay);
  void lookAt(Milliseconds when);
  void look();
  void strayAt(Milliseconds when);
  void answerStrayBytes();
  VirtualTime& time() const;

  Connection& connection_;
  End& other_;
  Random random_;
  Stream inbound_;
  std::string outbox_;  // what the system has not taken yet, from `outboxSent_` on
  std::size_t outboxSent_ = 0;
  std::string peerAddress_;
  EndEvents* owner_ = nullptr;
  bool tellArrivals_ = false;
  bool endTold_ = false;
  bool closed_ = false;
  bool draining_ = false;  // the system will be asked again
};

class Connection : public std::enable_shared_from_this<Connection> {
 public:
  Connection(VirtualTime& time, Random random, std::string callerAddress, std::string calledAddress);
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  /// The end that called, and the one that was called.
  End caller;
  End called;
  /// Where that was.
  Address port;

  /// The same ends for owners, which keep the connection alive.
  std::shared_ptr<End> callerEnd() { return {shared_from_this(), &caller}; }
  std::shared_ptr<End> calledEnd() { return {shared_from_this(), &called}; }

  /// Both ends see the connection break with `code` at once, or close in the orderly way (0).
  void cutBoth(std::int16_t code) {
    caller.cut(code);
    called.cut(code);
  }
  /// Nothing arrives in either direction, and nobody learns of it: a black hole.
  void hold() {
    caller.hold();
    called.hold();
  }
  void release() {
    caller.release();
    called.release();
  }

 private:
  friend class End;
  VirtualTime& time_;
};

inline VirtualTime& End::time() const {
  return connection_.time_;
}

inline std::size_t End::arrived() {
  return inbound_.arrived(time().now());
}

}  // namespace quarnex::simulated
