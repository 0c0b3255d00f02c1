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

void traceLocalPort(Library& library, const ConnectionRecord& record, Trap& trap, const char* action) {
  std::int16_t port = 0;
  trap([&] { port = toInteger(ServerSocket(library, record.IdxServer).localPort()); });
  trap([&] { Traccia(library, record.IdxQuarn, action, EthTag(library, record.IdxQuarn), ' ', port); });
}

void failListen(Library& library, ConnectionRecord& record, Trap& trap) {
  const std::int32_t number = trap.number();
  const std::string description = trap.description();
  trap([&] {
    ErroreETH(library, record.IdxQuarn, toInteger(number),
              concat("Errore ASCOLTO ", EthTag(library, record.IdxQuarn), ':', description));
  });
  trap([&] { ServerSocket(library, record.IdxServer).close(); });
  trap([&] { NonRisponde(library, record, {FailureKind::ListenFailed, number, description}); });
}

}  // namespace

void HandleServer(Library& library, ConnectionRecord& record) {
  Trap trap{library};
  std::int32_t state = 0;
  trap([&] { state = ServerSocket(library, record.IdxServer).state(); });
  if (!ScadenzaPassata(library, record.ScadenzaStato)) return;
  trap([&] { isIdle(state) ? AscoltaServer(library, record) : TimeoutAscolto(library, record); });
}

void AscoltaServer(Library& library, ConnectionRecord& record) {
  Trap trap{library};
  traceLocalPort(library, record, trap, "ASCOLTO ");
  trap([&] { SrvAccept(library, record.IdxServer).close(); });
  trap([&] { ServerSocket(library, record.IdxServer).close(); });
  trap([&] { ServerSocket(library, record.IdxServer).prepareA(); });
  trap([&] { ServerSocket(library, record.IdxServer).listen(); });
  trap([&] { TracciaSocketServer(library, record.IdxQuarn, record.IdxServer); });
  if (trap.pending()) return failListen(library, record, trap);
  ImpostaStato(library, record, kSocketPhase, kListenSeconds);
}

void TimeoutAscolto(Library& library, ConnectionRecord& record) {
  Trap trap{library};
  traceLocalPort(library, record, trap, "TIMEOUT ASCOLTO ");
  trap([&] { ServerSocket(library, record.IdxServer).close(); });
  trap.clear();
  trap([&] {
    ErroreETH(library, record.IdxQuarn, 0,
              concat("Errore : ", EthTag(library, record.IdxQuarn), " non chiama!"));
  });
  trap([&] { NonRisponde(library, record, {FailureKind::ListenTimeout}); });
}

void TracciaSocketServer(Library& library, std::int16_t IdxQuarn, std::int16_t IdxServer) {
  SocketInstance& listening = ServerSocket(library, IdxServer);
  const std::int32_t listeningState = listening.state();
  Traccia(library, IdxQuarn, "Server Socket ", listeningState, ' ', listening.statusText());
  SocketInstance& accepted = SrvAccept(library, IdxServer);
  const std::int32_t acceptedState = accepted.state();
  Traccia(library, IdxQuarn, "Accept Socket ", acceptedState, ' ', accepted.statusText());
}

}  // namespace quarnex
