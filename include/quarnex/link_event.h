// Lists the events of links that a host can read from one queue, with their reasons as values.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "quarnex/export.h"
#include "quarnex/link_snapshot.h"
#include "quarnex/receipts.h"

namespace quarnex {

enum class EventType : std::uint8_t {
  Connected,       ///< `endpoint`; on a server link it is the caller's address and port
  Heard,           ///< the peer's first message on this connection
  Disconnected,    ///< `reason`; `count` texts have no outcome yet, and `staysQueued` tells if they are kept
  AttemptFailed,   ///< `reason` of the last one; `count` attempts of the link, until the event is taken
  NotAnswering,    ///< at the report 109; `reason`
  AnsweringAgain,  ///< at the report 112
  Failure,         ///< at the report 991; `reason`
  FailureOver,     ///< at the report 992
  Closing,         ///< the host closes the connected link, and the peer has been asked to hang up
  Closed,          ///< the link is out of service: always its last event. `reason`, unless the host closed it
  TextsReceived,   ///< `count` texts of the peer since the last such event was taken
  ReceivedDropped,  ///< `count` received texts were dropped before the host took them; `receipt.cause`
  Receipts,         ///< `receipt`: the fate of texts
  Drained,       ///< `drainAndClose` is over, perhaps `timedOut`; `receipts`: the fates since it was called.
                 ///< Of the whole process: `drainAndLeave` is over
  ClockStepped,  ///< the system's clock was set forward (or back, if negative) by `count` seconds
  HostStoodStill,  ///< the loop was not turned for `count` seconds
  Lost             ///< the queue was full: `lost` counts the events that are missing here
};
constexpr std::size_t kEventTypeCount = static_cast<std::size_t>(EventType::Lost) + 1;

/// "connected", "heard", "disconnected", "attempt-failed", "not-answering", "answering-again", "failure",
/// "failure-over", "closing", "closed", "texts-received", "received-dropped", "receipts", "drained",
/// "clock-stepped", "host-stood-still", "lost". No later version changes a name.
QUARNEX_API const char* nameOf(EventType type);

/// Events that wait in the queue at most; a further one replaces the oldest by an event `Lost`.
constexpr std::size_t kEventsMax = 10'000;

/// Counters of a link at the moment of an event.
struct LinkCounts {
  std::uint64_t accepted = 0;  ///< texts that have a number
  std::uint64_t acknowledged = 0, dropped = 0, unknown = 0;
  std::uint64_t textsReceived = 0, receivedDropped = 0;
  std::uint64_t reconnections = 0;
};

/// The events that a full queue dropped.
struct LostEvents {
  std::int64_t from = 0, to = 0;            ///< seconds since 1970-01-01 UTC, first and last
  std::vector<std::uint64_t> events;        ///< numbers of events, by `EventType`
  std::uint64_t texts[kOutcomeCount] = {};  ///< numbers of texts in their receipts, by `Outcome`
};

struct LinkEvent {
  EventType type{};
  std::int16_t link = 0;          ///< 0: an event of the whole process
  std::int64_t at = 0;            ///< second since 1970-01-01 UTC of the system's clock, which may go back
  std::int64_t milliseconds = 0;  ///< since an arbitrary moment, of a clock that never goes back
  std::optional<LinkFailure> reason;
  std::string endpoint;
  std::int64_t count = 1;
  bool staysQueued = false;
  Receipt receipt;
  bool timedOut = false;
  std::vector<Receipt> receipts;
  LostEvents lost;
  LinkCounts counts;
};

}  // namespace quarnex
