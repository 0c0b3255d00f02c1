// Applies a received service word, a field that begins with "9", to its link (gestione_TCP_generale).
#pragma once

#include <string_view>

#include "engine/records/library.h"

namespace quarnex {

/// Runs the effect of the first matching row in the table of words, or passes the field to the host unchanged
/// if no row matches. Requires that `campo` begins with "9" and has at least two characters. Replies are
/// queued for the next batch. Never fails.
void GestisciServizio(Library& library, ConnectionRecord& rec, std::string_view campo);

/// True if `testo` is a word of that table, which the peer does not pass to its host.
bool isServiceWord(std::string_view testo);

}  // namespace quarnex
