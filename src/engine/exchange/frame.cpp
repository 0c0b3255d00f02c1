#include "engine/exchange/frame.h"

#include <array>
#include <cstring>

namespace quarnex {
namespace {

std::uint64_t wordAt(const char* bytes) {
  std::uint64_t word = 0;
  std::memcpy(&word, bytes, sizeof word);
  return word;
}

std::uint8_t folded(std::uint64_t word) {
  word ^= word >> 32;
  word ^= word >> 16;
  word ^= word >> 8;
  return static_cast<std::uint8_t>(word);
}

constexpr char kHexDigits[] = "0123456789ABCDEF";

}  // namespace

// Four independent words at a time: exclusive-or works in any order, and the processor combines all four in
// parallel.
std::uint8_t CalcolaCks(std::string_view testo) {
  const char* bytes = testo.data();
  std::size_t left = testo.size();
  std::array<std::uint64_t, 4> sums{};
  for (; left >= 32; bytes += 32, left -= 32) {
    for (std::size_t i = 0; i < sums.size(); ++i) sums[i] ^= wordAt(bytes + 8 * i);
  }
  std::uint64_t sum = sums[0] ^ sums[1] ^ sums[2] ^ sums[3];
  for (; left >= 8; bytes += 8, left -= 8) sum ^= wordAt(bytes);
  for (; left > 0; ++bytes, --left) sum ^= static_cast<unsigned char>(*bytes);
  return folded(sum);
}

void makeFrame(std::string& frame, std::string_view messaggio) {
  frame.clear();
  frame.reserve(messaggio.size() + 8);
  frame += kStx;
  frame += kFrameHeader;
  frame += messaggio;
  const ChecksumCharacters checksum = charactersOf(CalcolaCks(std::string_view(frame).substr(1)));
  frame += checksum.high;
  frame += checksum.low;
  frame += kEtx;
}

std::string_view frameBody(std::string_view frame) {
  return frame.size() < 4 ? std::string_view() : frame.substr(1, frame.size() - 4);
}

bool checksumHolds(std::string_view frame) {
  if (frame.size() < 4) return false;
  const ChecksumCharacters expected = charactersOf(CalcolaCks(frameBody(frame)));
  return frame[frame.size() - 3] == expected.high && frame[frame.size() - 2] == expected.low;
}

std::string HexByte(std::int16_t codice) {
  return {kHexDigits[(codice >> 4) & 15], kHexDigits[codice & 15]};
}

std::string HexDump(std::string_view testo) {
  std::string dump;
  dump.reserve(3 * testo.size());
  for (const char character : testo) {
    dump += ' ';
    dump += HexByte(static_cast<unsigned char>(character));
  }
  return dump;
}

}  // namespace quarnex
