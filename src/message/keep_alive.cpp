#include "message/keep_alive.h"

#include "component/integer.h"
#include "diagnostics/error_notices.h"
#include "diagnostics/trace.h"
#include "link/failure_handling.h"

namespace quarnex {
namespace {
constexpr std::int16_t kExpiriesTolerated = 1;
}

void AliveScaduto(Library& library, ConnectionRecord& rec) {
  BufferPut(rec.CodaInvio, "9!");
  rec.ContaAlive = toInteger(rec.ContaAlive + 1);
  ArmaAlive(library, rec);
  if (rec.ContaAlive <= kExpiriesTolerated) return;
  ErroreETH(library, rec.IdxQuarn, 0, "TIMEOUT Alive " + EthTag(library, rec.IdxQuarn));
  RinnovaAlive(library, rec);
  NonRisponde(library, rec, "Alive Timeout");
}

}  // namespace quarnex
