#include "recording/shrinker/engine_state.h"

#include <algorithm>
#include <initializer_list>
#include <string_view>

#include "engine/records/text_pieces.h"

namespace quarnex::recording {
namespace {

class StateWriter {
 public:
  StateWriter(ServiceModel& model, std::optional<Instant> now, bool everything)
      : model_(model), now_(now), everything_(everything) {}

  void addLibrary(const Library& library);
  void addLink(const ConnectionRecord& record);
  std::string& text() { return text_; }

 private:
  void addNumbers(std::initializer_list<std::int64_t> numbers) {
    for (const std::int64_t number : numbers) text_.append(concat(number)) += ' ';
  }
  void addDeadline(Instant deadline);
  void addText(std::string_view text);
  void addQueue(const TextBuffer& queue);
  void addSocket(SocketId id);

  ServiceModel& model_;
  std::optional<Instant> now_;
  bool everything_;
  std::string text_;
};

void StateWriter::addLibrary(const Library& library) {
  addNumbers({library.MaxTentativi, library.InUscita, library.form != nullptr, model_.milliseconds});
  if (!everything_) return;
  addNumbers(
      {library.ConnectionCount, library.ClientCount, library.ServerCount, library.LogAperto, model_.offset});
  addText(library.LogPath);
}

void StateWriter::addLink(const ConnectionRecord& record) {
  addNumbers({record.Attivo,
              record.UsaTcp,
              record.ConnessioneClient,
              record.FrameCompleto,
              record.InFrame,
              record.ChiusuraRemota,
              record.RicevutoQRY,
              record.RicevutoCMD,
              record.RicevutoACK,
              record.RicevutoNODATA,
              record.ConnessioneSegnalata,
              record.InEsecuzione,
              record.Stato,
              record.StatoB,
              record.AttesaRitrasmissione,
              record.ContaTimeoutB,
              record.ContaAlive,
              record.ContaNonRisponde,
              record.Chiuso,
              record.Aperto,
              record.NonRispondeSegnalato,
              record.AnomaliaSegnalata});
  for (const Instant deadline : {record.ScadenzaStato, record.ScadenzaB, record.ScadenzaAlive})
    addDeadline(deadline);
  addText(record.DaInviare ? std::string_view(*record.DaInviare) : std::string_view());
  for (const std::string* text : {&record.UltimoInviato, &record.FrameRicevuto, &record.UltimoErrore})
    addText(*text);
  for (const ByteQueue* bytes : {&record.FrameInCorso, &record.Ricevuto}) addText(bytes->text());
  for (const TextBuffer* queue : {&record.CodaInvio, &record.CodaArrivo}) addQueue(*queue);
  if (record.IdxClient != 0) addSocket({SocketArray::ClientSocket, record.IdxClient});
  if (record.IdxServer != 0) {
    addSocket({SocketArray::ServerSocket, record.IdxServer});
    addSocket({SocketArray::SrvAccept, record.IdxServer});
  }
  if (!everything_) return;
  addNumbers({record.DebugAttivo, record.IdQuarn});
  addText(record.UltimoLotto);
  addText(record.Tipo);
  addQueue(record.CodaDebug);
}

void StateWriter::addDeadline(Instant deadline) {
  if (now_) {
    addNumbers({std::max<std::int64_t>(deadline.second - now_->second, -1)});
  } else {
    addNumbers({deadline.second});
  }
}

void StateWriter::addText(std::string_view text) {
  addNumbers({static_cast<std::int64_t>(everything_ ? text.size() : !text.empty())});
  if (everything_) text_ += text;
}

// The next 25 texts and the count suffice to detect any change of a long queue.
void StateWriter::addQueue(const TextBuffer& queue) {
  constexpr std::size_t kTextsMax = 25;
  if (!everything_) return addNumbers({queue.Count > 0});
  addNumbers({queue.Count, queue.Capacity});
  for (const std::string_view text : BufferTexts(queue, kTextsMax)) addText(text);
}

void StateWriter::addSocket(SocketId id) {
  const PlainSocket* socket = model_.find(id);
  if (socket == nullptr) return addText("none");
  const PlainSocket::Settings& settings = socket->settings;
  addNumbers({settings.state});
  if (!everything_) return;
  addNumbers({settings.localPort, settings.remotePort, socket->reportedBytes.value_or(-1)});
  for (const std::string* text : {&settings.statusText, &settings.remoteHost}) addText(*text);
}

std::string written(Library& library, std::span<const std::int16_t> links, StateWriter writer) {
  writer.addLibrary(library);
  for (const std::int16_t link : links) {
    if (library.validIndex(link)) writer.addLink(library.ConnectionTable[link]);
  }
  return std::move(writer.text());
}

}  // namespace

std::string stateOf(Library& library, ServiceModel& model, std::span<const std::int16_t> links,
                    std::optional<Instant> now) {
  return written(library, links, StateWriter(model, now, true));
}

std::string controlStateOf(Library& library, ServiceModel& model, std::span<const std::int16_t> links,
                           Instant now) {
  return written(library, links, StateWriter(model, now, false));
}

}  // namespace quarnex::recording
