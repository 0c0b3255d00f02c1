// Checks whether a text reaches the peer's host unchanged, and encodes any bytes as a text that does.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "quarnex/export.h"
#include "quarnex/times_and_limits.h"

namespace quarnex {

/// The text that `Invia` does not send: it empties the link's outbound and inbound queues.
constexpr std::string_view kEmptyQueuesCommand = "VUOTABUFFER";

/// The rules for texts. `checkText` returns the first of them that a text breaks, in this order.
enum class TextRule : std::uint8_t {
  None,            ///< the text arrives unchanged
  Empty,           ///< "" is not sent
  EmptiesQueues,   ///< `kEmptyQueuesCommand` is not sent
  TooLong,         ///< does not fit into one message, so the peer never accepts it
  EndCharacter,    ///< holds ETX (code 3), which ends the frame early, so the peer never accepts it
  Separator,       ///< holds "|", which splits it into several texts
  TooShort,        ///< the peer drops a text of one character
  ProtocolWord,    ///< the peer acts on it and does not pass it to its host
  StartCharacter,  ///< holds STX (code 2): some peers drop it
  // Texts that break only the following rules reach every Quarnex peer unchanged.
  LeadingNine,     ///< begins with "9" like the words of the protocol: other peers may not pass it on
  LooksLikeReport  ///< the peer's host may mistake it for a report of its own library
};

/// A name for programs, which no later version changes: "" for `None`, "empty", "empties-queues", "too-long",
/// "end-character", "separator", "too-short", "protocol-word", "start-character", "leading-nine",
/// "looks-like-report".
QUARNEX_API const char* nameOf(TextRule rule);

/// The effect of a text on its way to the peer's host.
struct TextCheck {
  std::string warning;             ///< the reason why it does not arrive unchanged, in words; "" if it does
  bool alone = false;              ///< it would damage other texts of its batch: queue it alone
  bool never = false;              ///< the peer would never accept its batch, so do not send it
  TextRule rule = TextRule::None;  ///< the first rule that it breaks
  std::size_t position = 0;        ///< of the first byte that breaks the rule, from 0; 0 if none does
};

/// Predicts the effect of `text` (any bytes, any length) over TCP if it is sent in a batch of its own.
/// Depends on the text alone. Throws only if memory runs out.
QUARNEX_API TextCheck checkText(std::string_view text);

/// Length in characters of the message that carries `texts` texts of `bytes` bytes in all. The peer accepts
/// messages of at most `kMessageLengthMax` characters.
constexpr std::size_t messageLength(std::size_t texts, std::size_t bytes) {
  constexpr std::string_view kHeader = "0000053", kTail = "|9CMD|9.|";
  return kHeader.size() + texts + bytes + kTail.size();
}

/// Bytes of a text that fits into every batch: `kTextsPerBatchMax` such texts leave room for 146
/// acknowledgements of 5 characters each, which the library itself may add.
inline constexpr std::size_t kSafeTextLength =
    (kMessageLengthMax - messageLength(kTextsPerBatchMax, std::size_t{146} * 5)) / kTextsPerBatchMax;

/// The first characters of an encoded text.
inline constexpr std::string_view kEncodedPrefix = "~:";

/// Bytes that `encodeText` can always encode, whatever they are: each of them becomes at most two.
inline constexpr std::size_t kEncodableLengthMax = (kSafeTextLength - kEncodedPrefix.size()) / 2;

/// Converts any bytes to a text that arrives unchanged beside all other texts: `checkText` finds no rule that
/// it breaks, and it has at most `kSafeTextLength` bytes. A text for which this is already true stays as it
/// is, unless it begins with `kEncodedPrefix`. Returns nothing if the result would be longer; that can happen
/// only above `kEncodableLengthMax` bytes. docs/texts.md describes the format. Throws only if memory runs
/// out.
QUARNEX_API std::optional<std::string> encodeText(std::string_view text);

/// Converts a text of `encodeText` back: `decodeText(*encodeText(text)) == text` for every `text` that can be
/// encoded. Returns nothing if `text` is not in the format, so that no `encodeText` made it.
QUARNEX_API std::optional<std::string> decodeText(std::string_view text);

}  // namespace quarnex
