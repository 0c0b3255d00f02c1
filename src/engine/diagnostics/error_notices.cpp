#include "engine/diagnostics/error_notices.h"

#include <string>

#include "engine/diagnostics/event_reports.h"
#include "engine/diagnostics/trace.h"
#include "engine/records/trap.h"

namespace quarnex {
namespace {

void traceNotice(Library& library, std::int16_t IdxQuarn, std::int16_t codice, std::string_view testo) {
  if (codice != 0) {
    Traccia(library, IdxQuarn, EthTag(library, IdxQuarn), " ERROR CODE :", codice, ' ', testo);
  } else {
    Traccia(library, IdxQuarn, EthTag(library, IdxQuarn), ' ', testo);
  }
}

}  // namespace

void ErroreETH(Library& library, std::int16_t IdxQuarn, std::int16_t codice, std::string_view testo) {
  ConnectionRecord& rec = library.ConnectionTable[IdxQuarn];
  traceNotice(library, IdxQuarn, codice, testo);
  if (codice != 0) {
    rec.UltimoErrore = concat(codice, ' ', testo);
    SegnalaErrore(library, rec, std::string(rec.UltimoErrore));
  } else {
    SegnalaErrore(library, rec, testo);
  }
  clearPendingFailures(library);
}

void AvvisoETH(Library& library, std::int16_t IdxQuarn, std::int16_t codice, std::string_view testo) {
  traceNotice(library, IdxQuarn, codice, testo);
  clearPendingFailures(library);
}

}  // namespace quarnex
