// Builds and checks frames, the bytes of a message on the wire, and formats bytes for traces
// (HandleAvanzato). Uses no socket and no clock.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace quarnex {

constexpr char kStx = '\x02';
constexpr char kEtx = '\x03';
constexpr std::string_view kFrameHeader = "9999";  // filled by the sender, not examined by the receiver

/// Exclusive-or of all character codes; 0 for the empty text.
std::uint8_t CalcolaCks(std::string_view testo);

/// The two characters in which a checksum travels: 64 plus its high and 64 plus its low half.
struct ChecksumCharacters {
  char high, low;
};
constexpr ChecksumCharacters charactersOf(std::uint8_t checksum) {
  return {static_cast<char>(64 + (checksum >> 4)), static_cast<char>(64 + (checksum & 15))};
}

/// Replaces the content of `frame` by STX, "9999", `messaggio`, the checksum and ETX. Reuses its capacity.
void makeFrame(std::string& frame, std::string_view messaggio);

/// The header and the message of a complete frame: everything except the first and the last three characters.
std::string_view frameBody(std::string_view frame);

/// True if `frame` (start to end character) carries the checksum of its body. False for fewer than four
/// characters.
bool checksumHolds(std::string_view frame);

/// Two upper-case hexadecimal digits of a code from 0 to 255.
std::string HexByte(std::int16_t codice);
/// For each character a blank and its code in two hexadecimal digits.
std::string HexDump(std::string_view testo);

/// The character that ends a field appended to a message.
constexpr std::string_view Separatore() {
  return "|";
}

}  // namespace quarnex
