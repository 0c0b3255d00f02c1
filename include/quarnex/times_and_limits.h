// Lists the times, counts and limits of links; the times in the order of their table in docs/protocol.md.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>

#include "quarnex/export.h"

namespace quarnex {

// Seconds are whole seconds of the wall clock. A time has passed on the first tick that sees a later second,
// so "10 seconds" last 10.0 to 11.2.

/// Milliseconds between two ticks. On a tick each link runs one step and takes at most one frame.
inline constexpr std::int16_t kTickMilliseconds = 200;

/// Seconds from the activation of a link, by `Apri` or after a failure, to its first listen or call.
inline constexpr std::int16_t kActivationSeconds = 10;
/// Seconds that a server link listens for a caller; without one the link has failed.
inline constexpr std::int16_t kListenSeconds = 60;
/// Seconds that a client link waits for the outcome of a call; without one the link has failed.
inline constexpr std::int16_t kCallSeconds = 60;
/// Seconds from the end of a client link's connection, closed or broken by the peer, to the next call.
inline constexpr std::int16_t kCallAgainSeconds = 20;
/// Seconds from the error that broke a server link's connection to the next listen.
inline constexpr std::int16_t kListenAgainSeconds = 10;

/// Seconds until an answer is overdue and the message is sent again. An idle exchange pauses as long.
inline constexpr std::int16_t kReplySeconds = 5;
/// Overdue answers in a row that a link tolerates; with the next one the link has failed.
inline constexpr std::int16_t kOverdueAnswersTolerated = 5;

/// Seconds of silence until a link queues a probe. Silence ends with each message of `kMessageLengthMin`
/// characters or more.
inline constexpr std::int16_t kClientAliveSeconds = 10;
inline constexpr std::int16_t kServerAliveSeconds = 15;
/// Silent periods in a row that a link tolerates; with the next one the link has failed.
inline constexpr std::int16_t kSilentPeriodsTolerated = 1;

// Two deadlines that are stored and never acted on: of a connected link, and of a reset one until its
// activation.
inline constexpr std::int16_t kConnectedSeconds = 60;
inline constexpr std::int16_t kResetSeconds = 1;

/// Links that one process can add; `Add` returns 0 for any further one.
inline constexpr std::int16_t kLinksMax = std::numeric_limits<std::int16_t>::max();
/// Failures in a row that a link tolerates after `Init` before the report 109; 0 before `Init`.
inline constexpr std::int16_t kFailuresTolerated = 3;

/// Items that the queues of a new link hold: outbound and inbound texts, captured traces.
inline constexpr std::int16_t kTextQueueCapacity = 1000;
inline constexpr std::int16_t kTraceQueueCapacity = 100;
/// Items by which a full queue grows, until it holds `kQueueCapacityMax`; from then on it drops its oldest
/// item for each new one.
inline constexpr std::int16_t kQueueGrowth = 100;
inline constexpr std::int16_t kQueueCapacityMax = 5000;

/// Texts that one batch carries.
inline constexpr std::size_t kTextsPerBatchMax = 20;
/// Ticks until an unacknowledged batch is due again, counted only while the link is not connected.
inline constexpr std::int16_t kRepetitionTicks = 25;

/// Characters of the trace of a bad frame in the log; a longer one is shortened there, and whole everywhere
/// else.
inline constexpr std::size_t kLoggedFrameMax = 4096;

/// Characters of a message: a shorter one is no sign of life, a longer one is dropped.
inline constexpr std::int16_t kMessageLengthMin = 12;
inline constexpr std::size_t kMessageLengthMax = std::numeric_limits<std::int16_t>::max();
/// Identifiers that the three digits of a message hold are 0 to this; the peer cannot read any other.
inline constexpr std::int16_t kIdentifierMax = 999;
/// Fields that a message can count: one character holds their number, from "0" for 0 to code 255.
inline constexpr int kFieldsMax = 207;
/// Characters of a field that the receiver reads; a shorter one is ignored.
inline constexpr std::size_t kTextLengthMin = 2;

/// Bytes that the links of a process may hold because of what their peers send, or do not read. Ordinary
/// links stay far below: a message has at most 32 KiB and is handled in the tick that fetches it.
struct MemoryLimits {
  /// Received by one link and not yet handled. A link that holds more fetches nothing: TCP then slows its
  /// peer, and nothing is lost.
  std::size_t unhandled = std::size_t{1} << 20;
  /// Of one frame that has not ended. A link that receives more has failed.
  std::size_t frame = std::size_t{64} << 20;
  /// Sent by one link and not yet accepted by the system. Sending fails with 10055 while a link holds more,
  /// so a link holds at most this and one frame.
  std::size_t unsent = std::size_t{1} << 20;
  /// Of all links together: three quarters for received bytes, received texts, reports and captured traces,
  /// and one quarter for bytes not yet sent. A link may hold as much of its part as is free, so a flooded
  /// link leaves half of it to the others. Beyond that a link fetches nothing, its captured traces and
  /// received items lose their oldest, and sending fails with 10055.
  std::size_t process = std::size_t{256} << 20;
};

}  // namespace quarnex
