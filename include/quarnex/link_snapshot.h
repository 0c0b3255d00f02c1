// Describes the present state of a link and the reason of its last failure, as values and in words.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "quarnex/export.h"
#include "quarnex/receipts.h"

namespace quarnex {

/// Where a link is in its life.
enum class LinkPhase : std::uint8_t {
  Local,      ///< without TCP: always usable
  Closed,     ///< never opened, or closed
  Waiting,    ///< the next listen or call comes when the deadline has passed
  Listening,  ///< a server link waits for its peer's call
  Calling,    ///< a client link's call is under way
  Connected   ///< the exchange runs
};

/// "local", "closed", "waiting", "listening", "calling", "connected".
QUARNEX_API const char* nameOf(LinkPhase phase);

/// The reason why a link went down.
enum class FailureKind : std::uint8_t {
  ListenFailed,      ///< listening could not begin: `number` and `text` of the failed operation
  CallNotStarted,    ///< a call could not begin: `number` and `text` of the failed operation
  SendFailed,        ///< a frame could not be sent: `number` and `text` of the failed operation
  CallFailed,        ///< the peer was not reached: `number`
  AcceptFailed,      ///< an incoming call could not be accepted: `number`
  ListenTimeout,     ///< no peer called in time
  ConnectTimeout,    ///< the call had no outcome in time
  KeepAliveTimeout,  ///< no message arrived for two keep-alive periods
  ReplyTimeout,      ///< too many answers in a row were overdue
  ClosedByPeer,      ///< the peer closed the connection
  ConnectionBroken,  ///< the connection ended with an error: `number`
  PeerAskedToClose,  ///< the peer sent its request to close the connection
  FrameTooLong       ///< a frame of the peer had not ended at `MemoryLimits::frame`
};

/// A name for programs, which no later version changes: "listen-failed", "call-not-started", "send-failed",
/// "call-failed", "accept-failed", "listen-timeout", "connect-timeout", "keep-alive-timeout",
/// "reply-timeout", "closed-by-peer", "connection-broken", "peer-asked-to-close", "frame-too-long".
QUARNEX_API const char* nameOf(FailureKind kind);

/// One failure of a link.
struct LinkFailure {
  FailureKind kind{};
  std::int32_t number = 0;  ///< mostly a Windows Sockets number, 10000 and up; 0 if the kind has none
  std::string text{};       ///< description of the failed operation, "" if the kind has none
  LinkPhase phase = LinkPhase::Closed;  ///< in which it happened: `Listening`, `Calling` or `Connected`
  std::int64_t at = 0;                  ///< second since 1970-01-01 UTC
};

/// The reason in plain words, without phase and time: "error 10061, The requested connection has been refused
/// by the remote host".
QUARNEX_API std::string inWords(const LinkFailure& failure);

/// A time without connection of a link that the host wants open, or the time before its first one.
struct LinkOutage {
  std::uint32_t number = 0;         ///< from 1, in the order of the link's outages
  std::int64_t start = 0;           ///< second since 1970-01-01 UTC, as in `LinkSnapshot`
  std::optional<std::int64_t> end;  ///< none while it lasts
  LinkFailure reason;               ///< with which it began
  std::uint32_t attempts = 0;       ///< to connect that failed
  std::array<std::uint64_t, kReceiptCauseCount> dropped{};  ///< texts meanwhile, indexed by `ReceiptCause`
  std::string why;  ///< one sentence for people; times of day are local time
};

/// Outages that a link remembers; the oldest is forgotten first.
constexpr std::size_t kOutagesMax = 32;

/// A read-only view of one link. Times are seconds since 1970-01-01 UTC of the library's clock, which never
/// goes back: after the system's clock was set back, they stay ahead of it. Counts start when the link is
/// added.
struct LinkSnapshot {
  std::int16_t index = 0;  ///< 0: there is no such link, and nothing else here has a meaning
  std::string type;
  std::int16_t identifier = 0;
  bool client = false;  ///< role: true = this side calls
  bool tcp = false;
  LinkPhase phase = LinkPhase::Closed;
  std::int16_t subState = 0;  ///< of the exchange: 0 reset, 1 ready, 2 waiting for an answer, 3 idle
  bool closing = false;       ///< the host has closed the link, but the peer has not hung up yet
  /// "127.0.0.1:20308": the peer's address, and the port of the server side, which is the peer's on a client
  /// link and our own on a server link. "Buffer" without TCP, "" if it cannot be read.
  std::string endpoint;
  std::int32_t port = 0;  ///< the port in `endpoint`, 0 if there is none
  /// Time of the last change between connected, disconnected and closed; failed attempts do not change it.
  std::int64_t since = 0;
  bool messageReceived = false;  ///< while connected: a message has arrived on this connection
  bool overdue = false;          ///< while connected: messages have arrived, but the next one is overdue
  std::optional<std::int64_t> deadline;           ///< of the phase: acted on in the first second after it
  std::optional<std::int64_t> keepAliveDeadline;  ///< while connected
  std::optional<std::int64_t> replyDeadline;      ///< while connected
  int outbound = 0;                               ///< texts queued for the peer
  int inbound = 0;                                ///< items that the host has not taken
  int captured = 0;                               ///< trace texts that the host has not taken
  bool batchInFlight = false;                     ///< a batch waits for its acknowledgement
  bool reportedDown = false;                      ///< 109 was reported, and no message arrived since
  std::int16_t failures = 0;                      ///< counted towards the next 109
  std::optional<LinkFailure> lastFailure;  ///< why the link went down last; none before the first failure
  std::string lastError;  ///< text of the last error notice that had a code, until the link begins anew
  std::uint64_t textsSent = 0, textsReceived = 0;  ///< texts of the hosts, without words of the protocol
  OutcomeCounts outcomes;                          ///< of the texts that have one
  std::uint64_t undecided = 0;                     ///< texts without an outcome
  std::uint64_t receivedDropped = 0;               ///< received texts dropped before the host took them
  std::uint64_t framesSent = 0, framesReceived = 0;
  std::optional<std::int64_t> lastHeard;         ///< time of the last message of the peer
  std::optional<std::int64_t> lastSent;          ///< time of the last frame
  std::optional<std::int64_t> lastAcknowledged;  ///< time of the last acknowledgement
  std::uint64_t repetitions = 0, badChecksums = 0, reconnections = 0;
  /// Bytes held because of the peer: received and not handled, and queued for the host; and sent, but not yet
  /// accepted by the system. `MemoryLimits` bounds them.
  std::uint64_t bytesHeld = 0, bytesUnsent = 0;
  /// Since then the link fetches nothing, because it or the process holds as much as `MemoryLimits` allows.
  std::optional<std::int64_t> limitSince;
  /// Callers of a server link that `QuarnSocket::allowCallers` does not allow.
  std::uint64_t callersRefused = 0;

  /// One sentence for people: the state of the link since when and, if it is down, the last failure with
  /// number, reason and phase, and the time of the next attempt. Times of day are local time.
  std::string why;
};

}  // namespace quarnex
