// RecordCheck: base of the rules that read the engine's own records, and the values that they compare.
#pragma once

#include <cstdint>
#include <vector>

#include "engine/records/library.h"
#include "simulation/checks/independent/check.h"

namespace quarnex::simulation {

/// The part of a link's record that rules compare from step to step.
struct RecordedState {
  Instant stateDeadline, replyDeadline, aliveDeadline;
  std::uint64_t framesReceived = 0;
  std::int16_t expiries = 0;
  std::int16_t missedReplies = 0;
  std::int16_t exchange = 0;  ///< sub-state
  bool connected = false;
  bool trying = false;  ///< active, but not connected

  static bool isConnected(const ConnectionRecord& record) {
    constexpr std::int16_t connectedPhase = 17;
    return record.Attivo && record.Stato == connectedPhase;
  }
  static RecordedState of(const ConnectionRecord& record) {
    const bool connected = isConnected(record);
    return {
        record.ScadenzaStato,       record.ScadenzaB,     record.ScadenzaAlive, record.history.framesReceived,
        record.ContaAlive,          record.ContaTimeoutB, record.StatoB,        connected,
        record.Attivo && !connected};
  }
  /// True if a deadline has changed or the engine is still at work on the link.
  bool differs(const ConnectionRecord& record) const {
    return record.ScadenzaB != replyDeadline || record.ScadenzaAlive != aliveDeadline ||
           record.ScadenzaStato != stateDeadline || record.InEsecuzione == kHandlerRunning;
  }
};

/// A link, as rules on records need it.
struct RecordedLink {
  RecordedState before;    ///< after the latest step
  bool touched = false;    ///< a text or a frame of it was seen in the step under way
  bool failed = false;     ///< an operation of it has failed in the step under way
  bool lookedAt = false;   ///< the engine has looked for its bytes since the last tick
  bool hasSocket = false;  ///< for frames; it may have been impossible to make
};

struct EngineRecords : EngineObservations {
  Library* library = nullptr;
  std::vector<RecordedLink> recorded{1};  ///< by index; the first stands for no link

  RecordedLink& recordedAt(std::int16_t link) { return recorded[static_cast<std::size_t>(link)]; }
};

class RecordCheck : public Check {
 public:
  explicit RecordCheck(EngineRecords& records) : Check(records), records_(records) {}

 protected:
  EngineRecords& records_;
};

}  // namespace quarnex::simulation
