#include "link/tick.h"

#include <cassert>

#include "component/integer.h"
#include "component/trap.h"
#include "diagnostics/trace.h"
#include "exchange/handler.h"
#include "link/client_states.h"
#include "link/server_states.h"

namespace quarnex {

void HiTime_QUARN_Tick(Library& library) {
  assert(library.thread == std::this_thread::get_id());
  const int n = library.ConnectionCount;
  for (int i = 1; i <= n; ++i) {
    ConnectionRecord& record = library.ConnectionTable[static_cast<std::int16_t>(i)];
    if (!record.Attivo || !record.UsaTcp) continue;
    Handler(library, record, PassoDelLink(record));
  }
}

Passo PassoDelLink(const ConnectionRecord& record) {
  if (record.Stato == kConnected) return Handler_ADV;
  return record.ConnessioneClient ? HandleClient : HandleServer;
}

void Handler(Library& library, ConnectionRecord& record, Passo passo) {
  if (record.InEsecuzione == kHandlerRunning) return;
  Trap trap{library};
  record.InEsecuzione = kHandlerRunning;
  trap([&] { passo(library, record); });
  record.InEsecuzione = kHandlerFree;
  if (trap.pending()) {
    trap([&] { TracciaErrore(library, record.IdxQuarn, toInteger(trap.number()), "error QUARN Handler"); });
    record.InEsecuzione = kHandlerFree;
  }
}

}  // namespace quarnex
