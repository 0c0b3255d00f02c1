// LinkSnapshot: how a link stands at this moment, and why it is down.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

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
const char* nameOf(LinkPhase phase);

/// A read-only view of one link. Times are seconds since 1970-01-01 UTC, counts start when the link is added.
struct LinkSnapshot {
  std::int16_t index = 0;  ///< 0: there is no such link, and nothing else here has a meaning
  std::string type;
  std::int16_t identifier = 0;
  bool client = false;  ///< role: true = this side calls
  bool tcp = false;
  LinkPhase phase = LinkPhase::Closed;
  std::int16_t subState = 0;  ///< of the exchange: 0 reset, 1 ready, 2 waiting for an answer, 3 idle
  bool closing = false;       ///< the host has closed the link and its peer has not yet
  /// "127.0.0.1:20308": the peer's address, and the port of the server side, which is the peer's on a client
  /// link and our own on a server link. "Buffer" without TCP, "" if it cannot be told.
  std::string endpoint;
  std::int64_t since =
      0;  ///< when it became what it is: connected, not connected (whatever was tried), closed
  std::optional<std::int64_t> deadline;           ///< of the phase: acted on in the first second after it
  std::optional<std::int64_t> keepAliveDeadline;  ///< while connected
  std::optional<std::int64_t> replyDeadline;      ///< while connected
  int outbound = 0;                               ///< texts queued for the peer
  int inbound = 0;                                ///< items that the host has not taken
  int captured = 0;                               ///< trace texts that the host has not taken
  bool batchInFlight = false;                     ///< a batch waits for its acknowledgement
  bool reportedDown = false;                      ///< 109 was reported and no answer since
  std::int16_t failures = 0;                      ///< counted towards the next 109
  std::string lastError;  ///< text of the last error notice that had a code, until the link begins anew
  std::uint64_t textsSent = 0, textsReceived = 0;  ///< the hosts' own, without the words of the exchange
  std::uint64_t framesSent = 0, framesReceived = 0;
  std::uint64_t repetitions = 0, badChecksums = 0, reconnections = 0;

  /// One sentence for people that says how the link stands and, where it is down, why: what failed last, with
  /// number and reason, in which phase, since when, and when the next attempt comes. Local time.
  std::string why;
};

}  // namespace quarnex
