// Rule: whenever the engine is not at work, the record of each link is consistent.
#pragma once

#include <cstdint>
#include <string_view>

#include "simulation/checks/record_check.h"

namespace quarnex::simulation {

class RecordInvariants : public RecordCheck {
 public:
  using RecordCheck::RecordCheck;

  void changed(std::int16_t link, const RecordedState&, const ConnectionRecord& now) {
    const std::string_view broken = brokenInvariant(now);
    if (!broken.empty()) engine_.report(link, broken);
  }

  /// Describes the first invariant that `record` breaks, or "". Applies to engines after `Init`.
  static std::string_view brokenInvariant(const ConnectionRecord& record) {
    if (record.Stato != 1 && record.Stato != 17) return "Stato is neither 1 nor 17";
    if (record.InEsecuzione != -1) return "InEsecuzione was left running";
    if (record.Attivo && !record.UsaTcp) return "a link without TCP is active";
    if (record.ConnessioneClient ? record.IdxServer != 0 : record.IdxClient != 0)
      return "a link has the sockets of the other role";
    if (!isSound(record.CodaInvio)) return "CodaInvio is out of shape";
    if (!isSound(record.CodaArrivo)) return "CodaArrivo is out of shape";
    if (!isSound(record.CodaDebug)) return "CodaDebug is out of shape";
    const std::string_view broken = brokenByExchange(record);
    return broken.empty() ? brokenBySupervision(record) : broken;
  }

 private:
  static constexpr std::int16_t kCapacityMax = 5099;  // a queue of 4999 texts that grew by 100
  static constexpr std::int16_t kRepetitionTicks = 25;
  static constexpr std::int16_t kFailuresTolerated = 3;
  // The second ends the connection; more can only be where that failed, because an operation did.
  static constexpr std::int16_t kExpiriesTolerated = 6;
  static constexpr std::int16_t kMissedRepliesMax = 6;

  static bool within(std::int16_t value, std::int16_t most) { return value >= 0 && value <= most; }

  static bool isSound(const TextBuffer& queue) {
    return within(queue.Capacity, kCapacityMax) && within(queue.Count, queue.Capacity) &&
           (queue.Count > 0) == (queue.Items && !queue.Items->empty());
  }

  static std::string_view brokenByExchange(const ConnectionRecord& record) {
    if (!within(record.StatoB, 3)) return "StatoB is none of 0 to 3";
    if (!within(record.AttesaRitrasmissione, kRepetitionTicks)) return "AttesaRitrasmissione is out of range";
    if (!within(record.ContaTimeoutB, kMissedRepliesMax)) return "ContaTimeoutB is out of range";
    if (record.FrameCompleto) return "a complete frame was left lying";
    if (record.InFrame != !record.FrameInCorso.empty()) return "InFrame and FrameInCorso disagree";
    if (record.InFrame && record.FrameInCorso.front().front() != '\2')
      return "FrameInCorso has no start character";
    return "";
  }

  static std::string_view brokenBySupervision(const ConnectionRecord& record) {
    if (!within(record.ContaAlive, kExpiriesTolerated)) return "ContaAlive is out of range";
    if (!within(record.ContaNonRisponde, kFailuresTolerated)) return "ContaNonRisponde is out of range";
    if (record.NonRispondeSegnalato && record.ContaNonRisponde != 0) return "failures counted after 109";
    if (record.Chiuso && record.Aperto) return "Chiuso and Aperto are both True";
    return "";
  }
};

}  // namespace quarnex::simulation
