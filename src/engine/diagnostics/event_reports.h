// gestione_TCP_generale: the event reports that reach the host through the link's inbound queue.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "engine/records/library.h"

namespace quarnex {

/// "hhmmssddmmyyyy", local time, from one reading of the clock.
std::string TimbroEvento(Library& library);

/// Where a link over TCP meets its peer: the peer's host, and the port of the server side.
struct Endpoint {
  std::string host;
  std::int16_t port = 0;
};
/// Throws if the socket's properties cannot be read.
Endpoint endpointOf(Library& library, const ConnectionRecord& rec);
/// "127.0.0.1:20308".
std::string inWords(const Endpoint& endpoint);

/// The endpoint of a link in words, "Buffer" for a link without TCP. Throws like `endpointOf`.
std::string DescriviPunto(Library& library, const ConnectionRecord& rec);

/// Traces one report and puts it into `CodaArrivo`. An empty detail leaves its piece out.
void SegnalaEvento(Library& library, ConnectionRecord& rec, std::int16_t codice, std::string_view dettaglio);

/// 701; also re-arms the keep-alive.
void SegnalaConnesso(Library& library, ConnectionRecord& rec);
/// 702, at every call.
void SegnalaDisconnesso(Library& library, ConnectionRecord& rec);
/// 112 if 109 was given; also zeroes the count of failures.
void SegnalaRisponde(Library& library, ConnectionRecord& rec);
/// 991 if none was given since the last 992.
void SegnalaAnomalia(Library& library, ConnectionRecord& rec, std::string_view motivo);
/// 992 if 991 was given.
void SegnalaAnomaliaRientrata(Library& library, ConnectionRecord& rec);
/// 993.
void SegnalaErrore(Library& library, ConnectionRecord& rec, std::string_view testo);

}  // namespace quarnex
