#include "recording/shrinker/reproduction.h"

#include <algorithm>
#include <concepts>
#include <string_view>
#include <utility>

#include "engine/records/text_pieces.h"

namespace quarnex::recording {
namespace {

/// Collects the state. Without `everything`, texts and queues count only as empty or not.
struct Fingerprint {
  ServiceModel& model;
  std::optional<Instant> now;
  bool everything;
  std::string text = {};

  void addLibrary(const Library& library) {
    add(library.MaxTentativi, library.InUscita, library.form != nullptr, model.milliseconds);
    if (!everything) return;
    add(library.ConnectionCount, library.ClientCount, library.ServerCount, library.LogAperto, model.offset,
        library.LogPath);
  }
  void addLink(const ConnectionRecord& record);

  template <class... Fields>
  void add(const Fields&... fields) {
    (addOne(fields), ...);
  }
  void addOne(std::integral auto number) { text.append(concat(static_cast<std::int64_t>(number))) += ' '; }
  void addOne(Instant deadline) {
    addOne(now ? std::max<std::int64_t>(deadline.second - now->second, -1) : deadline.second);
  }
  void addOne(std::string_view bytes) {
    addOne(everything ? bytes.size() : !bytes.empty());
    if (everything) text += bytes;
  }
  // The next 25 texts and the count suffice to detect any change of a long queue.
  void addOne(const TextBuffer& queue) {
    constexpr std::size_t kTextsMax = 25;
    if (!everything) return addOne(queue.Count > 0);
    add(queue.Count, queue.Capacity);
    for (const std::string_view bytes : BufferTexts(queue, kTextsMax)) addOne(bytes);
  }
  void addOne(SocketId id) {
    const PlainSocket* socket = model.find(id);
    if (socket == nullptr) return addOne("none");
    const PlainSocket::Settings& settings = socket->settings;
    addOne(settings.state);
    if (!everything) return;
    add(settings.localPort, settings.remotePort, socket->reportedBytes.value_or(-1), settings.statusText,
        settings.remoteHost);
  }
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
  if (everything) add(record.DebugAttivo, record.IdQuarn, record.UltimoLotto, record.Tipo, record.CodaDebug);
}

std::string written(Library& library, std::span<const std::int16_t> links, Fingerprint state) {
  state.addLibrary(library);
  for (const std::int16_t link : links) {
    if (library.validIndex(link)) state.addLink(library.ConnectionTable[link]);
  }
  return std::move(state.text);
}

}  // namespace

const std::string& Reproduction::replay(const RecordedStep& step) {
  recorded_->clear();
  lines_ = step.lines.get();
  next_ = 0;
  end_ = lines_->size();
  model_.shift = step.shift;
  deliver();
  return recorded_->text();
}

void Reproduction::deliver() {
  engine_.replay(line(next_++));
  advance(end_);
}

void Reproduction::take(const Line& output) {
  const std::size_t found = find([&](const Line& line) { return isEqual(line, output); });
  if (found != end_) advance(found + 1);
}

Answer Reproduction::perform(const OperationLine& output) {
  const std::size_t found = find([&](const Line& line) {
    const auto* performed = std::get_if<OperationLine>(&line);
    return performed != nullptr && performed->operation == output.operation &&
           performed->socket == output.socket;
  });
  if (found == end_) return {};
  advance(found + 1);
  while (next_ < end_ && isStep(line(next_))) {
    const std::size_t endBefore = std::exchange(end_, behindNested(next_) - 1);
    deliver();
    next_ = std::min(end_ + 1, endBefore);
    end_ = endBefore;
  }
  return next_ == end_ ? Answer{} : answerIn(line(next_), output).value_or(Answer{});
}

void Reproduction::takeInputs() {
  const auto isAnswer = [](const Line& line) {
    return std::holds_alternative<FailedLine>(line) || std::holds_alternative<FetchedLine>(line);
  };
  while (next_ < end_ && (model_.takeInput(line(next_)) || isAnswer(line(next_)))) ++next_;
}

bool Reproduction::nextIsFetch(SocketId socket) const {
  const std::size_t found = find([&](const Line& line) {
    const auto* performed = std::get_if<OperationLine>(&line);
    return performed != nullptr && performed->socket == socket;
  });
  return found != end_ && std::get<OperationLine>(line(found)).operation == Operation::Fetch;
}

template <class Wanted>
std::size_t Reproduction::find(const Wanted& wanted) const {
  std::size_t at = next_;
  while (at < end_ && !wanted(line(at))) at = isStep(line(at)) ? behindNested(at) : at + 1;
  return std::min(at, end_);
}

void Reproduction::advance(std::size_t to) {
  while (next_ < to) {
    const Line& passed = line(next_);
    if (!std::holds_alternative<FailedLine>(passed)) model_.takeInput(passed);
    next_ = isStep(passed) ? std::min(behindNested(next_), to) : next_ + 1;
  }
}

std::size_t Reproduction::behindNested(std::size_t at) const {
  int depth = 0;
  for (; at < lines_->size(); ++at) {
    if (isStep(line(at))) ++depth;
    if (std::holds_alternative<EndLine>(line(at)) && --depth == 0) return at + 1;
  }
  return at + 1;  // the recording ends inside the step
}

std::string Reproduction::stateOf(std::span<const std::int16_t> links, std::optional<Instant> now) {
  return written(library(), links, {model_, now, true});
}

std::string Reproduction::controlStateOf(std::span<const std::int16_t> links, Instant now) {
  return written(library(), links, {model_, now, false});
}

}  // namespace quarnex::recording
