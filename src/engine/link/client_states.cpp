#include "engine/link/socket_phase.h"

#include <string>

#include "engine/diagnostics/event_reports.h"
#include "engine/diagnostics/trace.h"
#include "engine/link/failure_handling.h"
#include "engine/records/frm_sock.h"
#include "engine/records/integer.h"
#include "engine/records/record_operations.h"
#include "engine/records/trap.h"
#include "quarnex/times_and_limits.h"

namespace quarnex {
namespace {

void traceCall(Library& library, const ConnectionRecord& record, Trap& trap) {
  std::int16_t port = 0;
  std::string host;
  trap([&] { port = toInteger(ClientSocket(library, record.IdxClient).remotePort()); });
  trap([&] { host = ClientSocket(library, record.IdxClient).remoteHost(); });
  trap([&] {
    Traccia(library, record.IdxQuarn, "CHIAMO ", EthTag(library, record.IdxQuarn), ' ', port, ' ', host);
  });
}

void failCall(Library& library, ConnectionRecord& record, Trap& trap) {
  const std::int32_t number = trap.number();
  const std::string description = trap.description();
  trap([&] {
    ErroreETH(library, record.IdxQuarn, toInteger(number),
              concat("Errore CHIAMO ", EthTag(library, record.IdxQuarn), ':', description));
  });
  trap([&] { ClientSocket(library, record.IdxClient).close(); });
  trap([&] { NonRisponde(library, record, {FailureKind::CallNotStarted, number, description}); });
}

}  // namespace

void HandleClient(Library& library, ConnectionRecord& record) {
  Trap trap{library};
  std::int32_t state = 0;
  trap([&] { state = ClientSocket(library, record.IdxClient).state(); });
  if (!ScadenzaPassata(library, record.ScadenzaStato)) return;
  trap([&] { isIdle(state) ? ChiamaClient(library, record) : TimeoutChiamata(library, record); });
}

void ChiamaClient(Library& library, ConnectionRecord& record) {
  Trap trap{library};
  trap([&] { TracciaSocketClient(library, record.IdxQuarn, record.IdxClient); });
  traceCall(library, record, trap);
  trap([&] { ClientSocket(library, record.IdxClient).close(); });
  trap([&] { ClientSocket(library, record.IdxClient).prepareA(); });
  trap([&] { ClientSocket(library, record.IdxClient).prepareB(); });
  trap([&] { ClientSocket(library, record.IdxClient).connect(); });
  trap([&] { TracciaSocketClient(library, record.IdxQuarn, record.IdxClient); });
  if (trap.pending()) return failCall(library, record, trap);
  ImpostaStato(library, record, kSocketPhase, kCallSeconds);
}

void TimeoutChiamata(Library& library, ConnectionRecord& record) {
  Trap trap{library};
  trap([&] { TracciaSocketClient(library, record.IdxQuarn, record.IdxClient); });
  trap([&] { ClientSocket(library, record.IdxClient).close(); });
  trap([&] {
    AvvisoETH(library, record.IdxQuarn, 0,
              concat("Errore : ", EthTag(library, record.IdxQuarn),
                     " non si connette! Tentativi:", record.ContaNonRisponde, " Max", library.MaxTentativi));
  });
  trap([&] { NonRisponde(library, record, {FailureKind::ConnectTimeout}); });
}

void TracciaSocketClient(Library& library, std::int16_t IdxQuarn, std::int16_t IdxClient) {
  SocketInstance& socket = ClientSocket(library, IdxClient);
  const std::int32_t state = socket.state();
  Traccia(library, IdxQuarn, "Client Socket State:", state, ' ', socket.statusText());
}

}  // namespace quarnex
