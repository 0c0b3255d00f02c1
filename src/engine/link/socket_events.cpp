#include "engine/link/socket_events.h"

#include <string>
#include <string_view>
#include <vector>

#include "engine/diagnostics/event_reports.h"
#include "engine/diagnostics/failure_reasons.h"
#include "engine/diagnostics/trace.h"
#include "engine/events/telling.h"
#include "engine/link/activation.h"
#include "engine/link/failure_handling.h"
#include "engine/link/socket_phase.h"
#include "engine/message/splitting.h"
#include "engine/records/frm_sock.h"
#include "engine/records/integer.h"
#include "engine/records/record_operations.h"
#include "engine/records/trap.h"
#include "quarnex/times_and_limits.h"
#include "services/assertion.h"

namespace quarnex {
namespace {

// The link that owns instance `Index`, or nullptr if there is none.
ConnectionRecord* linkOf(Library& library, const std::vector<std::int16_t>& links, std::int16_t Index) {
  if (Index < 1 || static_cast<std::size_t>(Index) > links.size()) return nullptr;
  ConnectionRecord& record = library.ConnectionTable[links[static_cast<std::size_t>(Index - 1)]];
  QUARNEX_ASSERT(Index == (record.ConnessioneClient ? record.IdxClient : record.IdxServer));
  return &record;
}

void traceEndpoint(Library& library, std::int16_t i, std::string_view action, std::int32_t port,
                   std::string_view host) {
  Traccia(library, i, action, EthTag(library, i), ' ', toInteger(port), ' ', host);
}

void traceClient(Library& library, std::int16_t i, std::int16_t Index, std::string_view action) {
  SocketInstance& socket = ClientSocket(library, Index);
  const std::int32_t port = socket.remotePort();
  traceEndpoint(library, i, action, port, socket.remoteHost());
}

void traceServer(Library& library, std::int16_t i, std::int16_t Index, std::string_view action,
                 SocketInstance& (*hostOf)(Library&, std::int16_t)) {
  const std::int32_t port = ServerSocket(library, Index).localPort();
  traceEndpoint(library, i, action, port, hostOf(library, Index).remoteHost());
}

void noteClose(Library& library, ConnectionRecord& record, std::int16_t ErrorCode) {
  rememberFailure(library, record,
                  {ErrorCode == 0 ? FailureKind::ClosedByPeer : FailureKind::ConnectionBroken, ErrorCode});
  tellDisconnected(library, record, record.Aperto);
}

void connected(Library& library, ConnectionRecord& record, std::int16_t Index, Trap& trap) {
  noteNewConnection(library, record);
  trap([&] { traceClient(library, record.IdxQuarn, Index, "Client CONNESSO "); });
  rememberConnection(library, record);
  ImpostaStato(library, record, kConnected, kConnectedSeconds);
  trap([&] { AzzeraRicezione(library, record.IdxQuarn); });
  trap([&] { SegnalaConnesso(library, record); });
}

void connectFailed(Library& library, ConnectionRecord& record, std::int16_t Index, std::int16_t ErrorCode,
                   Trap& trap) {
  trap([&] { ErroreSocketClient(library, record.IdxQuarn, ErrorCode, "ClientSocket_Connect"); });
  trap([&] { ClientSocket(library, Index).close(); });
  trap([&] { NonRisponde(library, record, {FailureKind::CallFailed, ErrorCode}); });
}

void accepted(Library& library, ConnectionRecord& record, std::int16_t Index, std::int32_t SocketHandle,
              Trap& trap) {
  trap([&] {
    SrvAccept(library, Index).attach(SocketHandle);
    noteNewConnection(library, record);
  });
  // The endpoint texts of a server link name the caller stored on the listening socket.
  trap([&] { ServerSocket(library, Index).setRemoteHost(SrvAccept(library, Index).remoteHost()); });
  trap([&] { AzzeraRicezione(library, record.IdxQuarn); });
  trap([&] { SegnalaConnesso(library, record); });
  rememberConnection(library, record);
  ImpostaStato(library, record, kConnected, kConnectedSeconds);
  trap([&] { traceServer(library, record.IdxQuarn, Index, "Server CONNESSO ", SrvAccept); });
}

void acceptFailed(Library& library, ConnectionRecord& record, std::int16_t Index, std::int16_t ErrorCode,
                  Trap& trap) {
  trap([&] { ErroreSocketServer(library, record.IdxQuarn, ErrorCode, "ServerSocket_Accept"); });
  trap([&] { SrvAccept(library, Index).close(); });
  trap([&] { ServerSocket(library, Index).close(); });
  trap([&] { NonRisponde(library, record, {FailureKind::AcceptFailed, ErrorCode}); });
}

// Closes the listening socket of a server link whose peer hung up, or listens again.
void afterAcceptClose(Library& library, ConnectionRecord& record, std::int16_t Index, std::int16_t ErrorCode,
                      Trap& trap) {
  if (!record.Aperto) {
    ImpostaStato(library, record, kSocketPhase, kListenAgainSeconds);
    trap([&] { ServerSocket(library, Index).close(); });
    trap([&] { ChiudiServer(library, record.IdxQuarn); });
  } else if (ErrorCode != 0) {
    ImpostaStato(library, record, kSocketPhase, kListenAgainSeconds);
    trap([&] { SrvAccept(library, Index).close(); });
    trap([&] { ServerSocket(library, Index).close(); });
  } else {
    trap([&] {
      const std::int16_t port = toInteger(ServerSocket(library, Index).localPort());
      Traccia(library, record.IdxQuarn, " RIASCOLTO ", EthTag(library, record.IdxQuarn), ' ', port);
    });
    trap([&] { ServerSocket(library, Index).listen(); });
    ImpostaStato(library, record, kSocketPhase, kListenSeconds);
  }
}

}  // namespace

void ClientSocket_Connect(Library& library, std::int16_t Index, std::int16_t ErrorCode) {
  ConnectionRecord* record = linkOf(library, library.ClientLinks, Index);
  if (record == nullptr) return;
  Trap trap{library};
  if (ErrorCode == 0) {
    connected(library, *record, Index, trap);
  } else {
    connectFailed(library, *record, Index, ErrorCode, trap);
  }
  trap([&] { TracciaSocketClient(library, record->IdxQuarn, Index); });
}

void ClientSocket_Close(Library& library, std::int16_t Index, std::int16_t ErrorCode) {
  ConnectionRecord* record = linkOf(library, library.ClientLinks, Index);
  if (record == nullptr) return;
  Trap trap{library};
  noteClose(library, *record, ErrorCode);
  trap([&] { SegnalaDisconnesso(library, *record); });
  trap([&] { ScartaRicezione(library, record->IdxQuarn); });
  trap([&] { ClientSocket(library, Index).close(); });
  trap([&] { traceClient(library, record->IdxQuarn, Index, "Client CHIUDE "); });
  if (ErrorCode != 0) {
    trap([&] { ErroreSocketClient(library, record->IdxQuarn, ErrorCode, "ClientSocket_Close"); });
  }
  ImpostaStato(library, *record, kSocketPhase, kCallAgainSeconds);
  if (!record->Aperto) trap([&] { ChiudiClient(library, *record); });
  trap([&] { TracciaSocketClient(library, record->IdxQuarn, Index); });
}

void ClientSocket_Receive(Library& library, std::int16_t Index, std::int16_t ErrorCode) {
  ConnectionRecord* record = linkOf(library, library.ClientLinks, Index);
  if (record == nullptr || ErrorCode == 0) return;
  Trap trap{library};
  trap([&] { ErroreSocketClient(library, record->IdxQuarn, ErrorCode, "ClientSocket_Receive"); });
}

void ServerSocket_Accept(Library& library, std::int16_t Index, std::int32_t SocketHandle,
                         std::int16_t ErrorCode) {
  ConnectionRecord* record = linkOf(library, library.ServerLinks, Index);
  if (record == nullptr) return;
  Trap trap{library};
  trap([&] { TracciaSocketServer(library, record->IdxQuarn, Index); });
  if (ErrorCode == 0) {
    accepted(library, *record, Index, SocketHandle, trap);
  } else {
    acceptFailed(library, *record, Index, ErrorCode, trap);
  }
  trap([&] { TracciaSocketServer(library, record->IdxQuarn, Index); });
}

void ServerSocket_Close(Library& library, std::int16_t Index, std::int16_t ErrorCode) {
  ConnectionRecord* record = linkOf(library, library.ServerLinks, Index);
  if (record == nullptr) return;
  Trap trap{library};
  trap([&] { TracciaSocketServer(library, record->IdxQuarn, Index); });
  noteClose(library, *record, ErrorCode);
  trap([&] { SegnalaDisconnesso(library, *record); });
  trap([&] { ScartaRicezione(library, record->IdxQuarn); });
  trap([&] { SrvAccept(library, Index).close(); });
  trap([&] { ServerSocket(library, Index).close(); });
  trap([&] { traceServer(library, record->IdxQuarn, Index, "Server CHIUDE ", ServerSocket); });
  if (ErrorCode != 0) {
    trap([&] { ErroreSocketServer(library, record->IdxQuarn, ErrorCode, "ServerSocket_Close"); });
  }
  ImpostaStato(library, *record, kSocketPhase, kListenAgainSeconds);
  if (!record->Aperto) trap([&] { ChiudiServer(library, record->IdxQuarn); });
  trap([&] { TracciaSocketServer(library, record->IdxQuarn, Index); });
}

void SrvAccept_Close(Library& library, std::int16_t Index, std::int16_t ErrorCode) {
  ConnectionRecord* record = linkOf(library, library.ServerLinks, Index);
  if (record == nullptr) return;
  Trap trap{library};
  trap([&] { TracciaSocketServer(library, record->IdxQuarn, Index); });
  noteClose(library, *record, ErrorCode);
  trap([&] { SegnalaDisconnesso(library, *record); });
  trap([&] { ScartaRicezione(library, record->IdxQuarn); });
  trap([&] { traceServer(library, record->IdxQuarn, Index, "Accept CHIUDE ", SrvAccept); });
  if (ErrorCode != 0) {
    trap([&] { ErroreSocketServer(library, record->IdxQuarn, ErrorCode, "SrvAccept_Close"); });
  }
  afterAcceptClose(library, *record, Index, ErrorCode, trap);
  trap([&] { TracciaSocketServer(library, record->IdxQuarn, Index); });
}

void SrvAccept_Receive(Library& library, std::int16_t Index, std::int16_t ErrorCode) {
  ConnectionRecord* record = linkOf(library, library.ServerLinks, Index);
  if (record == nullptr || ErrorCode == 0) return;
  Trap trap{library};
  trap([&] { ErroreSocketServer(library, record->IdxQuarn, ErrorCode, "SrvAccept_Receive"); });
}

}  // namespace quarnex
