// Remembers connections and failures for LinkSnapshot, and makes the texts of failures for the reports.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "engine/records/library.h"
#include "quarnex/link_snapshot.h"

namespace quarnex {

/// Remembers that a connection begins now. Nothing that the link does depends on it.
void rememberConnection(Library& library, ConnectionRecord& rec);

/// Remembers `failure` as the reason why the link goes down, with the present phase and time. Nothing that
/// the link does depends on it; without memory the failure before it stays.
void rememberFailure(Library& library, ConnectionRecord& rec, LinkFailure failure);

/// The reason as the reports 109 and 991 carry it, "Listen 10048 Address already in use". The failures of
/// socket events are reported with the text of their notice, `UltimoErrore`, so call this before the record
/// is reset.
/// "" for a kind that is not reported.
std::string reportText(const ConnectionRecord& rec, const LinkFailure& failure);

/// The words for one of nine Windows Sockets numbers, "" for all others.
std::string_view socketErrorWords(std::int32_t number);

/// The same as the error notices carry it: behind a blank and with a full stop; "ErrorCode:" and the number
/// for all others.
std::string socketErrorText(std::int16_t codice);

}  // namespace quarnex
