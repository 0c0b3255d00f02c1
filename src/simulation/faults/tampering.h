// Changes sends on their way: cuts them, and damages them at random. Each send of a host is one frame.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/simulated/connection.h"
#include "platform/simulated/random.h"
#include "simulation/peers/wire_format.h"

namespace quarnex::simulation {
using namespace simulated;

/// Cuts each send in two after `byte` bytes; the second part leaves `pause` later.
inline Tamper cuttingAt(std::size_t byte, Milliseconds pause) {
  return [byte, pause](std::string_view sent) {
    const std::size_t cut = std::min(byte, sent.size());
    return std::vector<Piece>{{std::string(sent.substr(0, cut))}, {std::string(sent.substr(cut)), pause}};
  };
}

/// Sends one byte at a time, each `pause` after the one before.
inline Tamper dripping(Milliseconds pause) {
  return [pause](std::string_view sent) {
    std::vector<Piece> pieces;
    for (const char byte : sent)
      pieces.push_back({std::string(1, byte), pause * static_cast<Milliseconds>(pieces.size())});
    return pieces;
  };
}

/// Chances that a send is damaged, in a thousand.
struct Damage {
  std::uint32_t flip = 0;      ///< one bit changes
  std::uint32_t drop = 0;      ///< one byte is missing
  std::uint32_t insert = 0;    ///< one byte is added, in half of the cases a start or end character
  std::uint32_t lose = 0;      ///< nothing arrives
  std::uint32_t repeat = 0;    ///< the send arrives twice
  std::uint32_t old = 0;       ///< an earlier send arrives again after it
  std::uint32_t truncate = 0;  ///< a part arrives, and the connection ends
  std::uint32_t repair = 0;    ///< the checksum is corrected, among sends with a changed bit
};

/// A tamper that damages sends at random.
class Damaging {
 public:
  Damaging(Damage damage, Random random) : damage_(damage), random_(random) {}

  std::vector<Piece> operator()(std::string_view sent) {
    if (sent.empty()) return {};
    remember(sent);
    if (random_.chance(damage_.lose)) return {};
    std::vector<Piece> pieces{{std::string(sent)}};
    damageBytes(pieces[0].bytes);
    if (random_.chance(damage_.repeat)) pieces.push_back(pieces[0]);
    if (random_.chance(damage_.old)) pieces.push_back({earlier_[random_.below(earlier_.size())]});
    if (random_.chance(damage_.truncate)) truncate(pieces[0]);
    return pieces;
  }

 private:
  static constexpr std::size_t kRememberedMax = 16;

  void remember(std::string_view sent) {
    if (damage_.old == 0) return;
    if (earlier_.size() == kRememberedMax) earlier_.erase(earlier_.begin());
    earlier_.emplace_back(sent);
  }

  void damageBytes(std::string& bytes) {
    if (random_.chance(damage_.flip)) flip(bytes);
    if (random_.chance(damage_.drop)) bytes.erase(random_.below(bytes.size()), 1);
    if (random_.chance(damage_.insert)) insert(bytes);
  }

  void insert(std::string& bytes) {
    const std::size_t position = random_.below(bytes.size() + 1);
    const std::int64_t code = random_.chance(500) ? random_.between(2, 3) : random_.between(0, 255);
    bytes.insert(position, 1, static_cast<char>(code));
  }

  void flip(std::string& bytes) {
    char& byte = bytes[random_.below(bytes.size())];
    byte = static_cast<char>(static_cast<unsigned char>(byte) ^ (1U << random_.below(8)));
    constexpr std::size_t envelope = 8;
    if (bytes.size() <= envelope || !random_.chance(damage_.repair)) return;
    bytes = wire::frame(bytes.substr(5, bytes.size() - envelope));
  }

  void truncate(Piece& piece) {
    piece.bytes.resize(random_.below(piece.bytes.size() + 1));
    piece.ending = random_.chance(500) ? Piece::Ending::Orderly : Piece::Ending::Reset;
  }

  Damage damage_;
  Random random_;
  std::vector<std::string> earlier_;
};

/// Each tamper changes what the one before it left. An ending also ends the work on that send.
inline Tamper inTurn(std::vector<Tamper> tampers) {
  return [tampers = std::move(tampers)](std::string_view sent) mutable {
    std::vector<Piece> pieces{{std::string(sent)}};
    for (Tamper& tamper : tampers) {
      std::vector<Piece> left;
      for (const Piece& piece : pieces) {
        for (Piece& part : tamper(piece.bytes)) {
          part.delay += piece.delay;
          left.push_back(std::move(part));
        }
        if (!left.empty() && piece.ending != Piece::Ending::None) left.back().ending = piece.ending;
      }
      pieces = std::move(left);
    }
    return pieces;
  };
}

}  // namespace quarnex::simulation
