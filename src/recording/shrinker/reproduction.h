// Replays steps of a recording leniently to a fresh engine and records what that engine does.
#pragma once

#include <algorithm>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "engine/records/text_pieces.h"
#include "recording/format/recording_reader.h"
#include "recording/player/replayed_engine.h"
#include "recording/shrinker/checker.h"

namespace quarnex::recording {

/// Collects the state of an engine. Without `everything`, texts and queues count only as empty or not.
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
  void addLink(const ConnectionRecord& record) {
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
    if (everything)
      add(record.DebugAttivo, record.IdQuarn, record.UltimoLotto, record.Tipo, record.CodaDebug);
  }

 private:
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

/// Compares nothing: the engine may differ from the recorded one, or replay fewer steps. After each output,
/// it gets the inputs behind the next recorded output of the same kind on the same instance. If there is
/// none, operations succeed and fetch nothing.
class Reproduction final : private Replay {
 public:
  /// The recording begins with this offset of local time, in seconds.
  Reproduction(std::int32_t utcOffset, const MakeChecker& makeChecker)
      : model_(utcOffset), checker_(makeChecker(recorded_)), engine_(*this, model_, checker_.get()) {}

  /// Replays one step. Returns the lines recorded during it, valid until the next call.
  const std::string& replay(const RecordedStep& step) {
    recorded_->clear();
    model_.shift = step.shift;
    replay(std::span(*step.lines));
    return recorded_->text();
  }

  /// The first line of the new recording.
  const std::string& header() const { return header_; }
  std::optional<Finding> finding() { return checker_->finding(); }
  Library& library() { return engine_.library(); }

  /// All state of the links with these indexes, and of the library, that determines the engine's future
  /// behaviour, to compare two moments. Deadlines are absolute or, if `now` is given, the seconds left; all
  /// passed deadlines are then equal.
  std::string stateOf(std::span<const std::int16_t> links, std::optional<Instant> now = std::nullopt) {
    return written(links, {model_, now, true});
  }
  /// Only the state that decides each link's next transition, without contents and counts of its texts.
  std::string controlStateOf(std::span<const std::int16_t> links, Instant now) {
    return written(links, {model_, now, false});
  }

 private:
  void take(const Line& output) override {
    const std::size_t found = find([&](const Line& line) { return isEqual(line, output); });
    if (found < rest_.size()) advance(found + 1);
  }
  Answer perform(const OperationLine& output) override {
    const std::size_t found = find([&](const Line& line) {
      const auto* performed = std::get_if<OperationLine>(&line);
      return performed != nullptr && performed->operation == output.operation &&
             performed->socket == output.socket;
    });
    if (found == rest_.size()) return {};
    advance(found + 1);
    while (!rest_.empty() && isStep(rest_.front())) {
      const std::size_t length = lengthAt(0);
      const auto behind = rest_.subspan(length);
      replay(rest_.first(length));
      rest_ = behind;
    }
    return rest_.empty() ? Answer{} : answerIn(rest_.front(), output).value_or(Answer{});
  }
  void takeInputs() override {
    const auto isAnswer = [](const Line& line) {
      return std::holds_alternative<FailedLine>(line) || std::holds_alternative<FetchedLine>(line);
    };
    while (!rest_.empty() && (model_.takeInput(rest_.front()) || isAnswer(rest_.front())))
      rest_ = rest_.subspan(1);
  }
  bool nextIsFetch(SocketId socket) const override {
    const std::size_t found = find([&](const Line& line) {
      const auto* performed = std::get_if<OperationLine>(&line);
      return performed != nullptr && performed->socket == socket;
    });
    return found < rest_.size() && std::get<OperationLine>(rest_[found]).operation == Operation::Fetch;
  }

  void replay(std::span<const Line> step) {
    rest_ = step.subspan(1);
    engine_.replay(step.front());
    advance(rest_.size());
  }
  /// Index in the rest of the step, outside of nested steps; its size if there is none.
  template <class Wanted>
  std::size_t find(const Wanted& wanted) const {
    std::size_t at = 0;
    while (at < rest_.size() && !wanted(rest_[at])) at += lengthAt(at);
    return at;
  }
  /// Passes `count` lines and takes their properties and times, without those of nested steps.
  void advance(std::size_t count) {
    const auto behind = rest_.subspan(count);
    while (rest_.size() > behind.size()) {
      if (!std::holds_alternative<FailedLine>(rest_.front())) model_.takeInput(rest_.front());
      rest_ = rest_.subspan(lengthAt(0));
    }
  }
  /// Number of lines of the nested step that begins there; 1 if none does.
  std::size_t lengthAt(std::size_t first) const {
    int depth = 0;
    for (std::size_t at = first; at < rest_.size(); ++at) {
      if (isStep(rest_[at])) ++depth;
      if (std::holds_alternative<EndLine>(rest_[at])) --depth;
      if (depth <= 0) return at + 1 - first;
    }
    return rest_.size() - first;  // the recording ends inside the step
  }
  std::string written(std::span<const std::int16_t> links, Fingerprint state) {
    state.addLibrary(library());
    for (const std::int16_t link : links) {
      if (library().validIndex(link)) state.addLink(library().ConnectionTable[link]);
    }
    return std::move(state.text);
  }

  ServiceModel model_;
  std::span<const Line> rest_;  // of the innermost step in progress
  std::shared_ptr<MemorySink> recorded_ = std::make_shared<MemorySink>();
  std::unique_ptr<Checker> checker_;
  ReplayedEngine engine_;
  std::string header_{recorded_->text()};
};

}  // namespace quarnex::recording
