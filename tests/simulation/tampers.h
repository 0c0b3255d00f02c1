// Tampers that strike chosen sends of one connection, counted from 1. Each send of a host is one frame.
#pragma once

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/simulated/connection.h"

namespace quarnex::simulation {
using namespace simulated;

using Sends = std::set<std::uint64_t>;

/// Applies `change` to `sends`; the others pass unchanged.
template <class Change>
Tamper onSends(Sends sends, Change change) {
  return [sends = std::move(sends), change, count = std::uint64_t{0}](std::string_view sent) mutable {
    return sends.contains(++count) ? change(sent) : std::vector<Piece>{{std::string(sent)}};
  };
}

inline Tamper losing(Sends sends) {
  return onSends(std::move(sends), [](std::string_view) { return std::vector<Piece>(); });
}

inline Tamper doubling(Sends sends) {
  return onSends(std::move(sends),
                 [](std::string_view sent) { return std::vector<Piece>(2, Piece{std::string(sent)}); });
}

/// One bit of the middle byte changes.
inline Tamper corrupting(Sends sends) {
  return onSends(std::move(sends), [](std::string_view sent) {
    Piece piece{std::string(sent)};
    piece.bytes[sent.size() / 2] ^= 1;
    return std::vector<Piece>{piece};
  });
}

/// The first send of the connection arrives again after each of these.
inline Tamper repeatingFirst(Sends sends) {
  return [sends = std::move(sends), first = std::string(),
          count = std::uint64_t{0}](std::string_view sent) mutable {
    if (++count == 1) first = sent;
    std::vector<Piece> pieces{{std::string(sent)}};
    if (sends.contains(count)) pieces.push_back({first});
    return pieces;
  };
}

/// Only the first `bytes` of one send arrive, and then the connection ends.
inline Tamper truncating(std::uint64_t send, std::size_t bytes, Piece::Ending ending) {
  return onSends({send}, [bytes, ending](std::string_view sent) {
    return std::vector<Piece>{{std::string(sent.substr(0, bytes)), 0, ending}};
  });
}

}  // namespace quarnex::simulation
