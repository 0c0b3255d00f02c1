// Rule: an activation of the sockets leaves no text in the link's queues. Reads the engine's records.
#pragma once

#include "simulation/checks/record_check.h"

namespace quarnex::simulation {

/// Also excuses texts that are lost for reasons that only the records show.
class Queues : public RecordCheck {
 public:
  using RecordCheck::RecordCheck;

  void traced(std::int16_t link, std::string_view text) {
    if (begins(text, "ATTIVATO SOCKET ")) {
      const ConnectionRecord& record = records_.library->ConnectionTable[link];
      if (record.CodaInvio.Count + record.CodaArrivo.Count > 0)
        engine_.report(link, "an activation left texts in the queues");
    }
    // Only "VUOTABUFFER" lets a batch be built before the last one is acknowledged. That acknowledgement then
    // removes both, sent or not.
    if (begins(text, "IN CANNA:") && !records_.library->ConnectionTable[link].UltimoInviato.empty())
      engine_.excuse(link, Cause::Emptied);
  }

  void changed(std::int16_t link, const RecordedState&, const ConnectionRecord& now) {
    constexpr std::int16_t full = 4999;  // the next text drops the oldest
    const AddedLink& added = engine_.at(link);
    if (added.sent == nullptr) return;
    const Milliseconds time = engine_.site.time.now();
    if (now.CodaInvio.Count >= full) added.sent->excuse(Cause::Overflow, time);
    if (now.CodaArrivo.Count >= full) added.received->excuse(Cause::Overflow, time);
  }
};

}  // namespace quarnex::simulation
