#include "host/link_registration.h"

#include <string>
#include <vector>

#include "engine/diagnostics/trace.h"
#include "engine/records/frm_sock.h"
#include "engine/records/integer.h"
#include "engine/records/record_operations.h"
#include "engine/records/trap.h"
#include "quarnex/ports.h"
#include "quarnex/times_and_limits.h"

namespace quarnex {
namespace {

void makeRoomForOne(std::vector<std::int16_t>& links) {
  if (links.size() == links.capacity()) links.reserve(2 * links.size() + 1);
}

// Allocates all memory that the tables need for one more link before any count changes, so that registration
// is all or nothing.
void makeRoom(Library& library) {
  makeRoomForOne(library.ClientLinks);
  makeRoomForOne(library.ServerLinks);
  library.ConnectionTable.grow(library.ConnectionCount);
}

void createClientSocket(Library& library, ConnectionRecord& record, Trap& trap) {
  const std::int16_t k = record.IdxClient = ++library.ClientCount;
  library.ClientLinks.push_back(record.IdxQuarn);
  trap([&] { Form(library).create(SocketArray::ClientSocket, k); });
  trap([&] { ClientSocket(library, k).setLocalPort(0); });
  trap([&] { ClientSocket(library, k).setRemotePort(PortaPerTipo(record.Tipo, record.IdQuarn)); });
  trap([&] { ClientSocket(library, k).setLocalAddress("0.0.0.0"); });
  trap([&] { ClientSocket(library, k).setRemoteHost("127.0.0.1"); });
}

void createServerSockets(Library& library, ConnectionRecord& record, Trap& trap) {
  const std::int16_t k = record.IdxServer = ++library.ServerCount;
  library.ServerLinks.push_back(record.IdxQuarn);
  trap([&] { Form(library).create(SocketArray::ServerSocket, k); });
  trap([&] { Form(library).create(SocketArray::SrvAccept, k); });
  trap([&] { ServerSocket(library, k).setLocalPort(PortaPerTipo(record.Tipo, record.IdQuarn)); });
  trap([&] { ServerSocket(library, k).setLocalAddress("0.0.0.0"); });
  trap([&] { ServerSocket(library, k).setRemoteHost("0.0.0.0"); });
}

}  // namespace

std::int16_t AddHQUARN(Library& library, std::string_view Tipo, std::int16_t IdQUARN, bool ConnessioneClient,
                       bool UsaTcp) {
  if (library.ConnectionCount == kLinksMax) return 0;
  Trap trap{library};
  trap([&] { makeRoom(library); });
  if (trap.pending()) return 0;
  const std::int16_t n = ++library.ConnectionCount;
  ConnectionRecord& record = library.ConnectionTable[n];
  // The role is stored only afterwards, so every new link is armed with `kServerAliveSeconds`.
  ResetScambio(library, record);
  ResetLink(library, record);
  record.history.since = library.services.clock.now();
  record.IdxQuarn = n;
  trap([&] { record.Tipo = Tipo; });
  BufferInit(record.CodaInvio, kTextQueueCapacity);
  BufferInit(record.CodaArrivo, kTextQueueCapacity);
  BufferInit(record.CodaDebug, kTraceQueueCapacity);
  record.IdQuarn = IdQUARN;
  record.ConnessioneClient = ConnessioneClient;
  record.UsaTcp = UsaTcp;
  if (UsaTcp && ConnessioneClient) createClientSocket(library, record, trap);
  if (UsaTcp && !ConnessioneClient) createServerSockets(library, record, trap);
  if (trap.pending()) {
    trap([&] { TracciaErrore(library, n, trap.number(), "error HTCP: AddHQUARN " + trap.description()); });
  }
  return n;
}

std::int32_t PortaPerTipo(std::string_view Tipo, std::int16_t IdQuarn) {
  const std::int32_t freePort = toInteger(kFirstFreePort + IdQuarn);
  for (const PortOfType& named : kNamedPorts) {
    if (named.type == Tipo) return named.port;
  }
  return freePort;
}

}  // namespace quarnex
