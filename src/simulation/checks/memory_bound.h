// Rule: records hold at most twice the memory that their contents need, and a constant, and keep to the
// limits.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "engine/records/frm_sock.h"
#include "engine/records/library.h"
#include "quarnex/times_and_limits.h"

namespace quarnex::simulation {

class MemoryBound {
 public:
  /// Names a queue, batch or frame of that link that holds more than twice its contents and a constant, which
  /// is 4 KiB for an empty one; "" if there is none.
  static std::string_view heldBeyondNeed(const ConnectionRecord& record) {
    if (!isBounded(record.CodaInvio)) return "CodaInvio holds too much memory";
    if (!isBounded(record.CodaArrivo)) return "CodaArrivo holds too much memory";
    if (!isBounded(record.CodaDebug)) return "CodaDebug holds too much memory";
    if (!isBounded(record.Ricevuto)) return "Ricevuto holds too much memory";
    if (!isBounded(record.FrameInCorso)) return "FrameInCorso holds too much memory";
    if (!isBounded(record.FrameRicevuto)) return "FrameRicevuto holds too much memory";
    if (!isBounded(record.UltimoLotto)) return "UltimoLotto holds too much memory";
    if (!isBounded(record.UltimoInviato)) return "UltimoInviato holds too much memory";
    if (!isBounded(record.UltimoErrore)) return "UltimoErrore holds too much memory";
    return "";
  }

  /// The same for the storage that all links share.
  static std::string_view heldBeyondNeed(const Library& library) {
    const bool bounded =
        isBounded(library.frameStorage) && isBounded(library.traceStorage) && isBounded(library.lineStorage);
    return bounded ? "" : "the storage for frames and traces holds too much memory";
  }

  /// Names a limit that the link exceeds; "" if there is none. Changes nothing.
  static std::string_view beyondLimit(Library& library, const ConnectionRecord& record) {
    const MemoryLimits& limits = library.limits;
    if (record.Ricevuto.size() > limits.unhandled + kFetchBytesMax) return "Ricevuto exceeds its limit";
    if (record.FrameInCorso.size() > limits.frame + kFetchBytesMax) return "FrameInCorso exceeds its limit";
    const SocketInstance* socket = frameSocketOf(library, record);
    const std::size_t most = limits.unsent + record.UltimoInviato.size() + kMessageLengthMax;
    return socket == nullptr || socket->unsentBytes() <= most ? "" : "unsent bytes exceed their limit";
  }

  /// The same for the sum over all links.
  static std::string_view beyondLimit(Library& library) {
    std::size_t held = 0;
    for (int i = 1; i <= library.ConnectionCount; ++i)
      held += library.ConnectionTable[static_cast<std::int16_t>(i)].bytesHeld;
    if (held != library.bytesHeld) return "the bytes of the links do not add up";
    return held <= library.limits.process ? "" : "the process exceeds its limit";
  }

 private:
  // nullptr where it could not be created.
  static const SocketInstance* frameSocketOf(const Library& library, const ConnectionRecord& record) {
    if (!library.form) return nullptr;
    return record.ConnessioneClient ? library.form->find(SocketArray::ClientSocket, record.IdxClient)
                                    : library.form->find(SocketArray::SrvAccept, record.IdxServer);
  }

  static constexpr std::size_t kSpare = 4096;
  // The first chunk of a queue and the last may be empty but for one byte.
  static constexpr std::size_t kSpareOfQueue = std::size_t{128} * 1024;

  static bool isBounded(const std::string& text) { return text.capacity() <= 2 * text.size() + kSpare; }
  static bool isBounded(std::size_t held, std::size_t content) {
    return held <= 2 * content + (content == 0 ? kSpare : kSpareOfQueue);
  }
  static bool isBounded(const TextBuffer& queue) {
    return !queue.Items || isBounded(queue.Items->bytesHeld(), queue.Items->size());
  }
  static bool isBounded(const ByteQueue& queue) { return isBounded(queue.bytesHeld(), queue.size()); }
};

}  // namespace quarnex::simulation
