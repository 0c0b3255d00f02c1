#include "exchange/receiving.h"

#include <string_view>

#include "component/record_operations.h"
#include "component/trap.h"
#include "exchange/frame.h"
#include "link/frm_sock.h"

namespace quarnex {
namespace {

// Takes `bytes`, which hold an end character at most as their last one, into the frame under way or drops
// them.
void assemble(ConnectionRecord& record, std::string_view bytes) {
  if (record.InFrame) {
    record.FrameInCorso += bytes;
    return;
  }
  const std::size_t start = bytes.find(kStx);
  if (start == std::string_view::npos) return;
  record.FrameInCorso.assign(bytes.substr(start));
  record.InFrame = true;
}

void completeFrame(ConnectionRecord& record) {
  record.FrameRicevuto.swap(record.FrameInCorso);
  svuota(record.FrameInCorso);
  record.InFrame = false;
  record.FrameCompleto = true;
}

}  // namespace

void RiceviFrame(Library& library, ConnectionRecord& record) {
  Trap trap{library};
  trap([&] {
    SocketInstance& socket = SocketDelLink(library, record);
    if (socket.bytesWaiting() < 1) return;
    socket.fetch();
    record.Ricevuto.append(socket.receivedText());
  });
  if (!record.Ricevuto.empty() && !record.FrameCompleto) EstraiFrame(record);
}

void EstraiFrame(ConnectionRecord& record) {
  while (!record.Ricevuto.empty()) {
    const std::string_view bytes = record.Ricevuto.front();
    const std::size_t end = bytes.find(kEtx);
    const bool endFound = end != std::string_view::npos;
    const std::size_t taken = endFound ? end + 1 : bytes.size();
    assemble(record, bytes.substr(0, taken));
    record.Ricevuto.consume(taken);
    if (!endFound) continue;
    if (record.InFrame) completeFrame(record);
    return;
  }
}

}  // namespace quarnex
