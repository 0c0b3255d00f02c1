#include "engine/exchange/receiving.h"

#include <string_view>

#include "engine/exchange/frame.h"
#include "engine/records/frm_sock.h"
#include "engine/records/memory_budget.h"
#include "engine/records/record_operations.h"
#include "engine/records/trap.h"

namespace quarnex {
namespace {

struct Scanned {
  std::size_t taken;  // bytes, up to an end character or all of them
  bool endFound;
};

// Appends bytes to the frame under way, which they may begin and end, or drops them. An incomplete frame
// grows in chunks, so no tick moves earlier bytes; a frame that is complete at once is copied once.
Scanned scan(ConnectionRecord& record, std::string_view bytes) {
  const std::size_t end = bytes.find(kEtx);
  const bool endFound = end != std::string_view::npos;
  if (endFound) bytes = bytes.substr(0, end + 1);
  const std::size_t start = record.InFrame ? 0 : bytes.find(kStx);
  const Scanned scanned{bytes.size(), endFound};
  if (start == std::string_view::npos) return scanned;
  bytes.remove_prefix(start);
  if (!endFound || record.InFrame) record.FrameInCorso.append(bytes);
  if (endFound) {
    if (record.InFrame) {
      record.FrameRicevuto = record.FrameInCorso.text();
      record.FrameInCorso.clear();
    } else {
      record.FrameRicevuto.assign(bytes);
    }
    record.FrameCompleto = true;
  }
  record.InFrame = !endFound;
  return scanned;
}

}  // namespace

void RiceviFrame(Library& library, ConnectionRecord& record) {
  Trap trap{library};
  bool scanned = false;  // without a backlog the bytes are scanned in the socket's buffer
  trap([&] {
    SocketInstance& socket = frameSocket(library, record);
    if (socket.bytesWaiting() < 1 || !mayFetch(library, record)) return;
    socket.fetch();
    std::string_view bytes = socket.receivedText();
    scanned = record.Ricevuto.empty() && !record.FrameCompleto;
    if (scanned) bytes.remove_prefix(scan(record, bytes).taken);
    record.Ricevuto.append(bytes);
  });
  if (!scanned && !record.Ricevuto.empty() && !record.FrameCompleto) trap([&] { cutFrame(record); });
}

void cutFrame(ConnectionRecord& record) {
  bool endFound = false;
  while (!record.Ricevuto.empty() && !endFound) {
    const auto [taken, found] = scan(record, record.Ricevuto.front());
    record.Ricevuto.consume(taken);
    endFound = found;
  }
}

}  // namespace quarnex
