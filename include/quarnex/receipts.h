// Tells the fate of each text that a host gives to a link: acknowledged, dropped or unknown.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "quarnex/export.h"
#include "quarnex/text_rules.h"

namespace quarnex {

/// The fate of a text. Each text gets exactly one.
enum class Outcome : std::uint8_t {
  Acknowledged,  ///< the peer's library has put it into its queue
  Dropped,       ///< it was never in a frame: it has not arrived, and sending it again cannot duplicate it
  Unknown        ///< it was in a frame, and no acknowledgement is certainly its own: sending it again may
                 ///< duplicate it
};
constexpr std::size_t kOutcomeCount = 3;

/// "acknowledged", "dropped", "unknown". No later version changes a name.
QUARNEX_API const char* nameOf(Outcome outcome);

/// The reason of an outcome other than `Acknowledged`.
enum class ReceiptCause : std::uint8_t {
  None,                  ///< acknowledged
  Reconnection,          ///< the link reconnected after a failure, which empties its queue
  Reopened,              ///< `Apri` opened the link anew, which empties its queue
  Closed,                ///< the link was closed, or is not open
  QueuesEmptied,         ///< the text "VUOTABUFFER"
  QueueFull,             ///< the queue held `kQueueCapacityMax` texts, and later ones pushed it out
  StrayAcknowledgement,  ///< an acknowledgement that may belong to earlier texts ended its batch
  Content,               ///< it cannot arrive intact, or shared a message with a text that cannot
  Timeout,               ///< `drainAndClose` or `drainAndLeave` ran out of time
  NoPeer                 ///< without TCP: the process has no other link of this type and identifier
};
constexpr std::size_t kReceiptCauseCount = static_cast<std::size_t>(ReceiptCause::NoPeer) + 1;

/// "", "reconnection", "reopened", "closed", "queues-emptied", "queue-full", "stray-acknowledgement",
/// "content", "timeout", "no-peer". No later version changes a name.
QUARNEX_API const char* nameOf(ReceiptCause cause);

/// The common fate of the texts with the numbers `from` to `to` of a link.
struct Receipt {
  std::uint64_t from = 0, to = 0;
  Outcome outcome = Outcome::Acknowledged;
  ReceiptCause cause = ReceiptCause::None;
  std::uint32_t frames = 0;      ///< the highest number of frames that one of them was in
  std::uint32_t connection = 0;  ///< the link's connections so far, the present one included
};

/// Texts without an outcome: those with the numbers `from` to `to`.
struct PendingTexts {
  std::uint64_t from = 0, to = 0;
  bool inFrame = false;  ///< they were in a frame, so the peer may have them
};

/// Numbers of texts, by outcome and cause.
struct OutcomeCounts {
  std::uint64_t acknowledged = 0;
  std::array<std::uint64_t, kReceiptCauseCount> dropped{}, unknown{};  ///< indexed by `ReceiptCause`

  /// The number of texts with this outcome, of every cause.
  std::uint64_t of(Outcome outcome) const {
    if (outcome == Outcome::Acknowledged) return acknowledged;
    std::uint64_t all = 0;
    for (const std::uint64_t count : outcome == Outcome::Dropped ? dropped : unknown) all += count;
    return all;
  }
};

/// The reason why `QuarnSocket::send` did not take a text.
enum class Refusal : std::uint8_t {
  None,
  UnknownLink,  ///< there is no such link
  NotOpen,      ///< the link is closed: opening it would drop the text
  Draining,     ///< `drainAndClose` or `drainAndLeave` has been called
  Leaving,      ///< `Uscita` has been called
  Text          ///< the text breaks a rule, see `SendResult::check`
};

/// "", "unknown-link", "not-open", "draining", "leaving", "text". No later version changes a name.
QUARNEX_API const char* nameOf(Refusal refusal);

/// The result of `QuarnSocket::send`.
struct SendResult {
  std::uint64_t number = 0;  ///< of the text on its link, from 1 upwards; 0 = refused
  Refusal refusal = Refusal::None;
  TextCheck check{};  ///< with `Refusal::Text`: the rule that the text breaks

  explicit operator bool() const { return number != 0; }
};

}  // namespace quarnex
