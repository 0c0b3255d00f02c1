// Fingerprints of all state that determines the engine's future behaviour, to compare two moments.
#include <algorithm>
#include <concepts>
#include <string_view>

#include "engine/records/text_pieces.h"
#include "recording/shrinker/reproduction.h"

namespace quarnex::recording {
namespace {

/// Collects the state. Without `everything`, texts and queues count only as empty or not.
class Fingerprint {
 public:
  Fingerprint(ServiceModel& model, std::optional<Instant> now, bool everything)
      : model_(model), now_(now), everything_(everything) {}

  void addLibrary(const Library& library) {
    add(library.MaxTentativi, library.InUscita, library.form != nullptr, model_.milliseconds);
    if (!everything_) return;
    add(library.ConnectionCount, library.ClientCount, library.ServerCount, library.LogAperto, model_.offset,
        library.LogPath);
  }
  void addLink(const ConnectionRecord& record);
  std::string& text() { return text_; }

 private:
  template <class... Fields>
  void add(const Fields&... fields) {
    (addOne(fields), ...);
  }
  void addOne(std::integral auto number) { text_.append(concat(static_cast<std::int64_t>(number))) += ' '; }
  void addOne(Instant deadline) {
    addOne(now_ ? std::max<std::int64_t>(deadline.second - now_->second, -1) : deadline.second);
  }
  void addOne(std::string_view text) {
    addOne(everything_ ? text.size() : !text.empty());
    if (everything_) text_ += text;
  }
  // The next 25 texts and the count suffice to detect any change of a long queue.
  void addOne(const TextBuffer& queue) {
    constexpr std::size_t kTextsMax = 25;
    if (!everything_) return addOne(queue.Count > 0);
    add(queue.Count, queue.Capacity);
    for (const std::string_view text : BufferTexts(queue, kTextsMax)) addOne(text);
  }
  void addOne(SocketId id) {
    const PlainSocket* socket = model_.find(id);
    if (socket == nullptr) return addOne("none");
    const PlainSocket::Settings& settings = socket->settings;
    addOne(settings.state);
    if (!everything_) return;
    add(settings.localPort, settings.remotePort, socket->reportedBytes.value_or(-1), settings.statusText,
        settings.remoteHost);
  }

  ServiceModel& model_;
  std::optional<Instant> now_;
  bool everything_;
  std::string text_;
};

void Fingerprint::addLink(const ConnectionRecord& record) {
  add(record.Attivo, record.UsaTcp, record.ConnessioneClient, record.FrameCompleto, record.InFrame,
      record.ChiusuraRemota, record.RicevutoQRY, record.RicevutoCMD, record.RicevutoACK,
      record.RicevutoNODATA, record.ConnessioneSegnalata, record.InEsecuzione, record.Stato, record.StatoB,
      record.AttesaRitrasmissione, record.ContaTimeoutB, record.ContaAlive, record.ContaNonRisponde,
      record.Chiuso, record.Aperto, record.NonRispondeSegnalato, record.AnomaliaSegnalata);
  add(record.ScadenzaStato, record.ScadenzaB, record.ScadenzaAlive);
  add(record.DaInviare ? std::string_view(*record.DaInviare) : std::string_view());
  add(record.UltimoInviato, record.FrameRicevuto, record.UltimoErrore, record.FrameInCorso.text(),
      record.Ricevuto.text(), record.CodaInvio, record.CodaArrivo);
  if (record.IdxClient != 0) add(SocketId{SocketArray::ClientSocket, record.IdxClient});
  if (record.IdxServer != 0)
    add(SocketId{SocketArray::ServerSocket, record.IdxServer},
        SocketId{SocketArray::SrvAccept, record.IdxServer});
  if (everything_) add(record.DebugAttivo, record.IdQuarn, record.UltimoLotto, record.Tipo, record.CodaDebug);
}

std::string written(Library& library, std::span<const std::int16_t> links, Fingerprint state) {
  state.addLibrary(library);
  for (const std::int16_t link : links) {
    if (library.validIndex(link)) state.addLink(library.ConnectionTable[link]);
  }
  return std::move(state.text());
}

}  // namespace

std::string Reproduction::stateOf(std::span<const std::int16_t> links, std::optional<Instant> now) {
  return written(library(), links, Fingerprint(model_, now, true));
}

std::string Reproduction::controlStateOf(std::span<const std::int16_t> links, Instant now) {
  return written(library(), links, Fingerprint(model_, now, false));
}

}  // namespace quarnex::recording
