#include "message/keep_alive.h"

#include "component/record_operations.h"
#include "diagnostics/error_notices.h"
#include "diagnostics/trace.h"
#include "link/failure_handling.h"

namespace quarnex {
namespace {
constexpr std::int16_t kExpiriesTolerated = 1;
}

void ControllaAlive(Library& library, ConnectionRecord& rec) {
  if (!ScadenzaPassata(library, rec.ScadenzaAlive)) return;
  BufferPut(rec.CodaInvio, "9!");
  ++rec.ContaAlive;
  ArmaAlive(library, rec);
  if (rec.ContaAlive <= kExpiriesTolerated) return;
  ErroreETH(library, rec.IdxQuarn, 0, "TIMEOUT Alive " + EthTag(library, rec.IdxQuarn));
  RinnovaAlive(library, rec);
  NonRisponde(library, rec, "Alive Timeout");
}

}  // namespace quarnex
