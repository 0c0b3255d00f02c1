#include "engine/tick/tick.h"

#include "engine/diagnostics/trace.h"
#include "engine/events/telling.h"
#include "engine/exchange/handler.h"
#include "engine/link/socket_phase.h"
#include "engine/records/frm_sock.h"
#include "engine/records/integer.h"
#include "engine/records/trap.h"
#include "services/assertion.h"
#include "services/prefetch.h"

namespace quarnex {
namespace {

// Records are prefetched this many links ahead of the visit, their sockets half as many.
constexpr int kLinksAhead = 24;

void fetchAhead(Library& library, int link) {
  const int last = library.ConnectionCount;
  if (link + kLinksAhead <= last) {
    prefetch(&library.ConnectionTable[static_cast<std::int16_t>(link + kLinksAhead)]);
  }
  if (link + kLinksAhead / 2 <= last && library.form) {
    const auto& record = library.ConnectionTable[static_cast<std::int16_t>(link + kLinksAhead / 2)];
    prefetch(library.form->find(record.ConnessioneClient ? SocketArray::ClientSocket : SocketArray::SrvAccept,
                                record.ConnessioneClient ? record.IdxClient : record.IdxServer));
  }
}

}  // namespace

void HiTime_QUARN_Tick(Library& library) {
  QUARNEX_ASSERT(library.thread == std::this_thread::get_id());
  watchClock(library);
  const int n = library.ConnectionCount;
  for (int i = 1; i <= n; ++i) {
    fetchAhead(library, i);
    ConnectionRecord& record = library.ConnectionTable[static_cast<std::int16_t>(i)];
    if (!record.Attivo || !record.UsaTcp) continue;
    Handler(library, record, stepOf(record));
  }
}

LinkStep stepOf(const ConnectionRecord& record) {
  QUARNEX_ASSERT(record.Attivo && record.UsaTcp);
  if (record.Stato == kConnected) return Handler_ADV;
  return record.ConnessioneClient ? HandleClient : HandleServer;
}

void Handler(Library& library, ConnectionRecord& record, LinkStep step) {
  QUARNEX_ASSERT(&record == &library.ConnectionTable[record.IdxQuarn]);
  QUARNEX_ASSERT(record.InEsecuzione == kHandlerFree || record.InEsecuzione == kHandlerRunning);
  if (record.InEsecuzione == kHandlerRunning) return;
  Trap trap{library};
  record.InEsecuzione = kHandlerRunning;
  trap([&] { step(library, record); });
  record.InEsecuzione = kHandlerFree;
  if (trap.pending()) {
    trap([&] { TracciaErrore(library, record.IdxQuarn, toInteger(trap.number()), "error QUARN Handler"); });
    record.InEsecuzione = kHandlerFree;
  }
}

}  // namespace quarnex
