// gestione_TCP_generale and HandleETH: every failure of a link, its one recovery, and the words for socket
// errors.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "engine/records/library.h"

namespace quarnex {

/// The failure of a link: reconnects it, counts, reports 109 and 991 when they are due. `motivo` goes by
/// value: the caller's reason is often `UltimoErrore`, which the reconnection empties. No failure is pending
/// afterwards, not even one of the callers.
void NonRisponde(Library& library, ConnectionRecord& record, std::string motivo);

/// Closes the link's sockets and activates it again; 10 seconds later it listens or calls. During shutdown it
/// stays inactive. Never fails.
void ETH_Riconnetti(Library& library, ConnectionRecord& record);

/// An event named `evento` of the link's sockets reported error `codice`: traces it and gives the error
/// notice. Throw if port or host cannot be read.
void ErroreSocketClient(Library& library, std::int16_t IdxQuarn, std::int16_t codice,
                        std::string_view evento);
void ErroreSocketServer(Library& library, std::int16_t IdxQuarn, std::int16_t codice,
                        std::string_view evento);

/// The words for a Windows Sockets number: nine known ones begin with a blank, all others are "ErrorCode:"
/// and the number.
std::string socketErrorText(std::int16_t codice);

}  // namespace quarnex
