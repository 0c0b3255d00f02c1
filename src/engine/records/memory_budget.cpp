#include "engine/records/memory_budget.h"

#include <algorithm>

#include "services/socket_service.h"

namespace quarnex {
namespace {

std::size_t sizeOf(const TextBuffer& queue) {
  return queue.Items ? queue.Items->size() : 0;
}

std::size_t unhandledBytes(const ConnectionRecord& record) {
  return record.Ricevuto.size() + record.FrameRicevuto.size();
}

// The rest of the part for received bytes, after what all links hold. A link that holds no more than this
// leaves as much to the others.
std::size_t freeBytes(const Library& library) {
  const std::size_t part = library.limits.process / 4 * 3;
  return part - std::min(part, library.bytesHeld);
}

}  // namespace

void countHeldBytes(Library& library, ConnectionRecord& record) {
  const std::size_t now = unhandledBytes(record) + record.FrameInCorso.size() + sizeOf(record.CodaArrivo) +
                          sizeOf(record.CodaDebug);
  library.bytesHeld += now - record.bytesHeld;
  record.bytesHeld = now;
}

bool mayFetch(Library& library, ConnectionRecord& record) {
  countHeldBytes(library, record);
  const bool allowed = unhandledBytes(record) <= library.limits.unhandled &&
                       record.bytesHeld + kFetchBytesMax <= freeBytes(library);
  ShortInstant& since = record.history.limitSince;
  if (allowed) {
    since = {};
  } else if (!since.isSet()) {
    since = library.services.clock.now();
  }
  return allowed;
}

bool isFrameTooLong(const Library& library, const ConnectionRecord& record) {
  return record.InFrame && record.FrameInCorso.size() > library.limits.frame;
}

void keepWithinBudget(Library& library, ConnectionRecord& record) {
  countHeldBytes(library, record);
  while (record.bytesHeld > freeBytes(library) && record.CodaDebug.Count + record.CodaArrivo.Count > 1) {
    BufferDrop(record.CodaDebug.Count > 0 ? record.CodaDebug : record.CodaArrivo);
    countHeldBytes(library, record);
  }
}

}  // namespace quarnex
