// gestione_TCP_generale: what a received service word (a field that begins with "9") does to its link.
#pragma once

#include <string_view>

#include "engine/records/library.h"

namespace quarnex {

/// Does what the first matching row of the table of words says; a field that is no known word goes to the
/// host unchanged. `campo` begins with "9" and has at least two characters. Replies are queued, they leave
/// with the next batch. Never fails.
void GestisciServizio(Library& library, ConnectionRecord& rec, std::string_view campo);

/// True if `testo` is a word of that table, which the peer keeps from its host.
bool isServiceWord(std::string_view testo);

}  // namespace quarnex
