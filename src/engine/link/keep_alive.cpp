#include "engine/link/keep_alive.h"

#include "engine/diagnostics/error_notices.h"
#include "engine/diagnostics/trace.h"
#include "engine/link/failure_handling.h"
#include "engine/records/integer.h"
#include "quarnex/times_and_limits.h"

namespace quarnex {
void keepAliveExpired(Library& library, ConnectionRecord& rec) {
  BufferPut(rec.CodaInvio, "9!");
  rec.ContaAlive = toInteger(rec.ContaAlive + 1);
  ArmaAlive(library, rec);
  if (rec.ContaAlive <= kSilentPeriodsTolerated) return;
  ErroreETH(library, rec.IdxQuarn, 0, "TIMEOUT Alive " + EthTag(library, rec.IdxQuarn));
  RinnovaAlive(library, rec);
  NonRisponde(library, rec, {FailureKind::KeepAliveTimeout});
}

}  // namespace quarnex
