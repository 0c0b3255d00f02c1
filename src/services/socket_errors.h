// Describes every socket error number in words: the only table of these texts.
#pragma once

#include <cstdint>
#include <string_view>

#include "quarnex/failure.h"

namespace quarnex {

/// The description of a Windows Sockets number, as a failed operation carries it: "Connection refused". ""
/// for a number that no adapter produces.
std::string_view socketErrorDescription(std::int32_t number);

/// The wording that error notices have for a few of the numbers: "The requested connection has been refused
/// by the remote host". "" for all others.
std::string_view socketNoticeWords(std::int32_t number);

/// The failure with `number` and its description.
Failure numberedFailure(std::int16_t number);

}  // namespace quarnex
