#include "quarnex/quarn_socket.h"

#include <array>
#include <string>
#include <utility>

#include "engine/diagnostics/log.h"
#include "engine/diagnostics/trace.h"
#include "engine/events/telling.h"
#include "engine/link/activation.h"
#include "engine/message/outbound.h"
#include "engine/records/frm_sock.h"
#include "engine/records/inbound.h"
#include "engine/records/library.h"
#include "engine/records/memory_budget.h"
#include "engine/records/record_operations.h"
#include "engine/records/text_pieces.h"
#include "engine/records/trap.h"
#include "host/host_boundary.h"
#include "host/link_registration.h"
#include "host/method_table.h"
#include "host/snapshot.h"
#include "quarnex/times_and_limits.h"
#include "services/assertion.h"
#include "services/caller_filter.h"
#include "services/observer.h"
#include "services/process_library.h"

namespace quarnex {
namespace {

Value valueOf(std::int16_t number) {
  return number;
}
Value valueOf(bool flag) {
  return flag;
}
Value valueOf(std::string_view text) {
  return std::string(text);
}

/// Runs `body` and reports the call, its result or its failure to the observer. Without an observer it does
/// not copy the parameters.
template <auto method, class Body, class... Parameters>
auto hostCall(Library& library, Body&& body, const Parameters&... parameters) {
  static_assert(methodOf<method>().parameters.size() == sizeof...(Parameters));
  QUARNEX_ASSERT(library.thread == std::this_thread::get_id());
  Observer* observer = library.observer;
  if (observer == nullptr) return numbered(library, body);
  using Values = std::array<Value, sizeof...(Parameters)>;
  const Values values = numbered(library, [&] { return Values{valueOf(parameters)...}; });
  observer->called(methodOf<method>(), values);
  try {
    using Result = decltype(body());
    if constexpr (std::is_void_v<Result>) {
      numbered(library, body);
      observer->returned({});
    } else {
      Value result = numbered(library, body);  // moved: a copy could fail and lose a text taken from a queue
      observer->returned(result);
      return std::get<Result>(std::move(result));
    }
  } catch (const Failure& failure) {
    observer->failed(failure);
    throw;
  }
}

void acceptText(Library& library, std::int16_t IdxQuarn, std::string_view s) {
  ConnectionRecord& record = library.ConnectionTable[IdxQuarn];
  if (s == "VUOTABUFFER") return SvuotaCode(library, IdxQuarn, ReceiptCause::QueuesEmptied);
  if (record.UsaTcp) {
    queueText(library, record, s);
    return Traccia(library, IdxQuarn, "COMANDO:", ZeroPadded{record.CodaInvio.Count, 5}, ' ', s);
  }
  Traccia(library, IdxQuarn, "I>:", ZeroPadded{record.CodaInvio.Count, 5}, ' ', s);
  ++record.history.textsSent;
  ConsegnaLocale(library, IdxQuarn, s);
}

void openLink(Library& library, std::int16_t IdxQuarn) {
  if (!library.validIndex(IdxQuarn)) return;
  ConnectionRecord& record = library.ConnectionTable[IdxQuarn];
  if (!record.UsaTcp) return;
  Trap trap{library};
  record.Chiuso = false;
  record.NonRispondeSegnalato = false;
  record.ContaNonRisponde = 0;
  record.AnomaliaSegnalata = false;
  record.Aperto = true;
  trap([&] { RinnovaAlive(library, record); });
  trap([&] { AttivaSocket(library, record, ReceiptCause::Reopened); });
  if (trap.pending()) {
    Traccia(library, IdxQuarn, trap.number(), " error TCP Apri scheda ", ':', trap.description());
  }
}

Failure invalidCall() {
  return {5, "Invalid procedure call or argument"};
}

void requireValid(bool valid) {
  if (!valid) throw invalidCall();
}

void requireAddress(std::string_view dotted) {
  if (isDottedAddress(dotted)) return;
  throw Failure(5, concat('"', dotted, "\" is not an address, four numbers with dots such as 192.0.2.1"));
}

SocketInstance& listeningSocket(Library& library, std::int16_t IdxQuarn) {
  requireValid(library.validIndex(IdxQuarn));
  const std::int16_t k = library.ConnectionTable[IdxQuarn].IdxServer;
  requireValid(k > 0);
  return ServerSocket(library, k);
}

std::string takeOldest(Library& library, std::int16_t IdxQuarn, TextBuffer ConnectionRecord::*queue) {
  if (!library.validIndex(IdxQuarn)) return {};
  ConnectionRecord& record = library.ConnectionTable[IdxQuarn];
  if ((record.*queue).Count == 0) return {};
  std::string text = BufferGet(record.*queue);
  countHeldBytes(library, record);
  return text;
}

}  // namespace

QuarnSocket::QuarnSocket() : QuarnSocket(processLibrary()) {}

QuarnSocket::QuarnSocket(Library& library) : library_(&library), use_(library.instances) {}

std::int16_t QuarnSocket::Add(std::string_view Tipo, Int16 IdQUARN, bool ConnessioneClient, bool UsaTcp) {
  return hostCall<&QuarnSocket::Add>(
      *library_,
      [&] {
        const std::int16_t n = AddHQUARN(*library_, Tipo, IdQUARN, ConnessioneClient, UsaTcp);
        Trap withoutMemory{*library_};
        withoutMemory(
            [&] { Traccia(*library_, n, "ADD ", n, " : ", std::int16_t{IdQUARN}, ' ', Tipo, ' ', Tipo); });
        return n;
      },
      Tipo, IdQUARN, ConnessioneClient, UsaTcp);
}

std::string QuarnSocket::GetMessaggioArrivato(Int16 IdxQuarn) {
  return hostCall<&QuarnSocket::GetMessaggioArrivato>(
      *library_, [&] { return takeOldest(*library_, IdxQuarn, &ConnectionRecord::CodaArrivo); }, IdxQuarn);
}

std::int16_t QuarnSocket::ProntoPerUscire() {
  return hostCall<&QuarnSocket::ProntoPerUscire>(*library_, [&] {
    for (int i = 1; i <= library_->ConnectionCount; ++i) {
      const ConnectionRecord& record = library_->ConnectionTable[static_cast<std::int16_t>(i)];
      if (record.UsaTcp && !record.Chiuso && record.Attivo) return std::int16_t{0};
    }
    return std::int16_t{-1};
  });
}

void QuarnSocket::Invia(Int16 IdxQuarn, std::string_view s) {
  hostCall<&QuarnSocket::Invia>(
      *library_,
      [&] {
        if (!s.empty() && library_->validIndex(IdxQuarn) && !library_->InUscita)
          acceptText(*library_, IdxQuarn, s);
      },
      IdxQuarn, s);
}

void QuarnSocket::Apri(Int16 IdxQuarn) {
  hostCall<&QuarnSocket::Apri>(
      *library_, [&] { openLink(*library_, IdxQuarn); }, IdxQuarn);
}

void QuarnSocket::Chiudi(Int16 IdxQuarn) {
  hostCall<&QuarnSocket::Chiudi>(
      *library_,
      [&] {
        if (library_->validIndex(IdxQuarn)) ChiudiSocket(*library_, library_->ConnectionTable[IdxQuarn]);
      },
      IdxQuarn);
}

void QuarnSocket::Init(std::string_view s) {
  hostCall<&QuarnSocket::Init>(
      *library_,
      [&] {
        library_->LogPath = s;
        library_->MaxTentativi = kFailuresTolerated;
      },
      s);
}

void QuarnSocket::Uscita() {
  hostCall<&QuarnSocket::Uscita>(*library_, [&] {
    for (int i = 1; i <= library_->ConnectionCount; ++i) {
      ConnectionRecord& record = library_->ConnectionTable[static_cast<std::int16_t>(i)];
      if (record.UsaTcp) ChiudiSocket(*library_, record);
    }
    library_->InUscita = true;
  });
}

bool QuarnSocket::MessaggioArrivato(Int16 IdxQuarn) {
  return hostCall<&QuarnSocket::MessaggioArrivato>(
      *library_,
      [&] {
        return library_->validIndex(IdxQuarn) && library_->ConnectionTable[IdxQuarn].CodaArrivo.Count > 0;
      },
      IdxQuarn);
}

std::string QuarnSocket::GetDebug(Int16 IdxQuarn) {
  return hostCall<&QuarnSocket::GetDebug>(
      *library_, [&] { return takeOldest(*library_, IdxQuarn, &ConnectionRecord::CodaDebug); }, IdxQuarn);
}

void QuarnSocket::AttivaDebug(Int16 IdxQuarn) {
  hostCall<&QuarnSocket::AttivaDebug>(
      *library_,
      [&] {
        if (library_->validIndex(IdxQuarn)) library_->ConnectionTable[IdxQuarn].DebugAttivo = true;
      },
      IdxQuarn);
}

void QuarnSocket::DisattivaDebug(Int16 IdxQuarn) {
  hostCall<&QuarnSocket::DisattivaDebug>(
      *library_,
      [&] {
        if (library_->validIndex(IdxQuarn)) library_->ConnectionTable[IdxQuarn].DebugAttivo = false;
      },
      IdxQuarn);
}

void QuarnSocket::AttivaLog() {
  hostCall<&QuarnSocket::AttivaLog>(*library_, [&] { ApriLog(*library_); });
}

void QuarnSocket::DisattivaLog(Int16 IdxQuarn) {
  hostCall<&QuarnSocket::DisattivaLog>(
      *library_, [&] { ChiudiLog(*library_); }, IdxQuarn);
}

bool QuarnSocket::Connesso(Int16 IdxQuarn) {
  return hostCall<&QuarnSocket::Connesso>(
      *library_,
      [&] {
        if (!library_->validIndex(IdxQuarn)) return true;
        const ConnectionRecord& record = library_->ConnectionTable[IdxQuarn];
        return !record.UsaTcp || record.Stato == kConnected;
      },
      IdxQuarn);
}

void QuarnSocket::setLogSettings(const LogSettings& settings) {
  if (settings.filesMax < 0) throw Failure(5, "Invalid procedure call or argument");
  library_->services.logFile.configure({settings.bytesMax, settings.filesMax, settings.groupMayRead});
}

FileLosses QuarnSocket::flushLog(std::chrono::milliseconds maxWait) {
  library_->services.logFile.flush(maxWait);
  const FileLosses losses = processSnapshot().log;
  library_->toldLogBytes = losses.bytes;
  return losses;
}

ProcessSnapshot QuarnSocket::processSnapshot() const {
  const WriteLosses losses = library_->services.logFile.losses();
  return {{losses.bytes, losses.lines, losses.lastError}, library_->bytesHeld};
}

void QuarnSocket::setMemoryLimits(const MemoryLimits& limits) {
  const std::size_t mostOfOneLink = limits.process / 4 * 3 / 2;
  if (library_->ConnectionCount > 0 || limits.frame < kMessageLengthMax || limits.frame > mostOfOneLink ||
      limits.unhandled > mostOfOneLink || limits.unhandled + limits.frame + kFetchBytesMax > mostOfOneLink) {
    throw invalidCall();
  }
  library_->setLimits(limits);
}

void QuarnSocket::listenOn(Int16 IdxQuarn, std::string_view dotted) {
  numbered(*library_, [&] {
    requireAddress(dotted);
    listeningSocket(*library_, IdxQuarn).listenOn(dotted);
  });
}

void QuarnSocket::allowCallers(Int16 IdxQuarn, const std::vector<std::string>& dotted) {
  numbered(*library_, [&] {
    for (const std::string& address : dotted) requireAddress(address);
    listeningSocket(*library_, IdxQuarn).allowCallers(dotted);
  });
}

LinkSnapshot QuarnSocket::snapshot(Int16 IdxQuarn) const {
  return numbered(*library_, [&] { return takeSnapshot(*library_, IdxQuarn); });
}

std::vector<std::int16_t> QuarnSocket::linksWithNews() {
  return numbered(*library_, [&] { return linksWithItems(*library_); });
}

bool QuarnSocket::reportWaits(Int16 IdxQuarn) const {
  QUARNEX_ASSERT(library_->thread == std::this_thread::get_id());
  return library_->validIndex(IdxQuarn) && BufferFrontMarked(library_->ConnectionTable[IdxQuarn].CodaArrivo);
}

}  // namespace quarnex
