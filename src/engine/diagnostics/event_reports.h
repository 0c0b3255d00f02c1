// Puts event reports for the host into the inbound queue of a link, and traces error notices
// (gestione_TCP_generale).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "engine/records/library.h"

namespace quarnex {

/// "hhmmssddmmyyyy", local time, from one reading of the clock.
std::string TimbroEvento(Library& library);

/// Endpoint of a link over TCP: the peer's host, and the port of the server side.
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

/// Traces one report and puts it into `CodaArrivo`. Without a detail the report has no "$S...$".
void SegnalaEvento(Library& library, ConnectionRecord& rec, std::int16_t codice, std::string_view dettaglio);

/// Reports 701 with the endpoint and re-arms the keep-alive.
void SegnalaConnesso(Library& library, ConnectionRecord& rec);
/// Reports 702, at every call.
void SegnalaDisconnesso(Library& library, ConnectionRecord& rec);
/// Reports 112 if 109 was reported and no 112 since; resets the count of failures.
void SegnalaRisponde(Library& library, ConnectionRecord& rec);
/// Reports 991 with the reason `motivo`, unless it was reported and no 992 since.
void SegnalaAnomalia(Library& library, ConnectionRecord& rec, std::string_view motivo);
/// Reports 992 if 991 was reported and no 992 since.
void SegnalaAnomaliaRientrata(Library& library, ConnectionRecord& rec);
/// Reports 993.
void SegnalaErrore(Library& library, ConnectionRecord& rec, std::string_view testo);

/// Traces an error notice and reports it with 993; with a `codice` other than 0, stores it in `UltimoErrore`,
/// too. Clears all pending failures, including those of the callers: read a number that you need before the
/// call.
void ErroreETH(Library& library, std::int16_t IdxQuarn, std::int16_t codice, std::string_view testo);

/// Traces the notice without reporting it.
void AvvisoETH(Library& library, std::int16_t IdxQuarn, std::int16_t codice, std::string_view testo);

}  // namespace quarnex
