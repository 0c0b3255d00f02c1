// Remembers connections and failures for LinkSnapshot, and makes the texts of failures for the reports.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "engine/records/library.h"
#include "quarnex/link_snapshot.h"

namespace quarnex {

/// Stores in the link's history that a connection begins now.
void rememberConnection(Library& library, ConnectionRecord& rec);

/// Stores `failure`, with the present phase and time, in the link's history as the reason why the link goes
/// down. If memory runs out, the earlier failure stays.
void rememberFailure(Library& library, ConnectionRecord& rec, LinkFailure failure);

/// The reason as in the reports 109 and 991, "Listen 10048 Address already in use"; "" for a kind that is not
/// reported. A failure of a socket event has the text of its notice, `UltimoErrore`, so call this before the
/// record is reset.
std::string reportText(const ConnectionRecord& rec, const LinkFailure& failure);

/// The text of an error notice for a Windows Sockets number: a blank, its words and a full stop, or
/// "ErrorCode:" and the number.
std::string socketErrorText(std::int16_t codice);

}  // namespace quarnex
