#include "host/draining.h"

#include <algorithm>
#include <utility>

#include "engine/events/telling.h"
#include "engine/records/frm_sock.h"
#include "engine/records/trap.h"
#include "quarnex/quarn_socket.h"

namespace quarnex {
namespace {

// After the last acknowledgement the peer's host has this time to take the texts: the request to close makes
// the peer empty its queues.
constexpr std::int64_t kLingerMilliseconds = 1000;
// The peer has this time to hang up, before this side does.
constexpr std::int64_t kHangUpMilliseconds = 5000;
// And this time after a timeout, in which the last frames may still leave.
constexpr std::int64_t kLastMilliseconds = 1000;

std::int64_t now(Library& library) {
  return library.services.clock.moment().milliseconds;
}

std::int64_t deadlineAfter(Library& library, std::chrono::milliseconds within) {
  constexpr std::int64_t longest = std::int64_t{1} << 50;  // 35,000 years
  return now(library) + std::clamp<std::int64_t>(within.count(), 0, longest);
}

void close(Library& library, ConnectionRecord& record, std::int64_t patience) {
  record.history.ledger->drain.phase = DrainPhase::Closing;
  record.history.ledger->drain.deadline = now(library) + patience;
  QuarnSocket(library).Chiudi(record.IdxQuarn);
}

void wait(Library& library, ConnectionRecord& record, bool forOthers) {
  LinkDrain& drain = record.history.ledger->drain;
  const bool over = now(library) >= drain.deadline;
  if (record.history.ledger->book.undecided() == 0) {
    if (forOthers && !over) return;
    drain.phase = DrainPhase::Lingering;
    drain.deadline = now(library) + (record.Stato == kConnected ? kLingerMilliseconds : 0);
  } else if (over) {
    drain.timedOut = true;
    close(library, record, kLastMilliseconds);
  }
}

// A link that reconnects meanwhile is not connected, so the second call closes it at once.
void finish(Library& library, ConnectionRecord& record) {
  LinkDrain& drain = record.history.ledger->drain;
  if (record.Stato != kConnected) return QuarnSocket(library).Chiudi(record.IdxQuarn);
  if (now(library) < drain.deadline) return;
  drain.deadline = now(library) + kHangUpMilliseconds;
  Trap unreachable{library};
  unreachable([&] { frameSocket(library, record).hangUp(); });
}

void service(Library& library, ConnectionRecord& record, bool othersWait) {
  const LinkDrain& drain = record.history.ledger->drain;
  if (drain.phase == DrainPhase::Waiting) wait(library, record, othersWait);
  if (drain.phase == DrainPhase::Lingering && now(library) >= drain.deadline)
    close(library, record, kHangUpMilliseconds);
  if (drain.phase == DrainPhase::Closing) finish(library, record);
}

bool isDraining(const ConnectionRecord& record) {
  return record.history.ledger && record.history.ledger->drain.phase != DrainPhase::None;
}

template <class Use>
void forEachLink(Library& library, const Use& use) {
  for (int i = 1; i <= library.ConnectionCount; ++i)
    use(library.ConnectionTable[static_cast<std::int16_t>(i)]);
}

// The other end of a link may be in this process, so no link hangs up before all have their outcomes.
bool leavingWaits(Library& library) {
  bool waits = false;
  forEachLink(library, [&](ConnectionRecord& record) {
    if (isDraining(record) && record.history.ledger->book.undecided() > 0) waits = true;
  });
  return library.draining && waits;
}

void leave(Library& library) {
  if (library.InUscita) return;
  QuarnSocket(library).Uscita();
  tellLeft(library);
}

}  // namespace

void beginDrain(Library& library, ConnectionRecord& record, std::chrono::milliseconds within) {
  LinkDrain& drain = ledgerOf(record).drain;
  if (drain.phase == DrainPhase::None) ++library.drains;
  if (drain.phase == DrainPhase::None) drain.phase = DrainPhase::Waiting;
  if (drain.phase == DrainPhase::Waiting) drain.deadline = deadlineAfter(library, within);
  if (!record.Attivo) tellDrained(library, record);
}

void beginLeaving(Library& library, std::chrono::milliseconds within) {
  library.draining = true;
  forEachLink(library, [&](ConnectionRecord& record) {
    if (record.UsaTcp && record.Attivo) beginDrain(library, record, within);
  });
}

void serviceDrains(Library& library) {
  if (library.drains > 0) {
    const bool othersWait = leavingWaits(library);
    forEachLink(library, [&](ConnectionRecord& record) {
      if (isDraining(record)) service(library, record, othersWait);
    });
  }
  if (library.draining && library.drains == 0) leave(library);
}

}  // namespace quarnex
