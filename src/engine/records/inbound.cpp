#include "engine/records/inbound.h"

namespace quarnex {
namespace {

std::int16_t& nextOf(Library& library, std::int16_t IdxQuarn) {
  return IdxQuarn == 0 ? library.firstWithItems : library.ConnectionTable[IdxQuarn].nextWithItems;
}

}  // namespace

void putInbound(Library& library, ConnectionRecord& record, std::string_view item, bool isReport) {
  BufferPut(record.CodaArrivo, item, isReport);
  if (record.nextWithItems != kNotListed) return;
  record.nextWithItems = 0;
  nextOf(library, library.lastWithItems) = record.IdxQuarn;
  library.lastWithItems = record.IdxQuarn;
}

// A link whose queue has been emptied leaves the list here.
std::vector<std::int16_t> linksWithItems(Library& library) {
  std::vector<std::int16_t> links;
  std::int16_t before = 0;
  while (const std::int16_t index = nextOf(library, before)) {
    ConnectionRecord& record = library.ConnectionTable[index];
    if (record.CodaArrivo.Count > 0) {
      links.push_back(index);
      before = index;
      continue;
    }
    nextOf(library, before) = record.nextWithItems;
    record.nextWithItems = kNotListed;
    if (library.lastWithItems == index) library.lastWithItems = before;
  }
  return links;
}

}  // namespace quarnex
