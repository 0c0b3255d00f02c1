#include "simulation/checks/engine_watch.h"

#include <algorithm>
#include <string>
#include <utility>

#include "host/method_table.h"
#include "simulation/checks/independent/frame_format.h"
#include "simulation/checks/invariants.h"
#include "simulation/peers/hostile_bytes.h"

namespace quarnex::simulation {
namespace {

constexpr std::string_view kReportTrace = "P:X000E";
constexpr std::string_view kReceivedTrace = "R>";
constexpr std::string_view kReport = "X000E";
constexpr std::string_view kActivationTrace = "ATTIVATO SOCKET ";
constexpr std::string_view kBatchTrace = "IN CANNA:";
constexpr std::string_view kData = "|9CMD|";
constexpr std::string_view kGivenUpTrace = "NON RISPONDE ";
constexpr std::string_view kFailureTrace = "P:Errore: ";
constexpr std::string_view kEmptyQueues = "VUOTABUFFER";
constexpr std::int16_t kFullQueue = 4999;  // of 5000: the next one drops the oldest
constexpr std::size_t kEnvelope = 4;       // start character, checksum, end character
constexpr std::int16_t kConnectedPhase = 17;
constexpr std::int16_t kExchangeWaiting = 2;  // for an answer; 3 is idle, and both have a deadline
constexpr char kStart = 2;                    // of a frame

int codeOf(std::string_view reportTrace) {
  int code = 0;
  for (const char digit : reportTrace.substr(kReportTrace.size(), 4)) code = code * 10 + (digit - '0');
  return code;
}

std::string_view fieldsOf(std::string_view message) {
  return message.substr(std::min(message.find('|'), message.size()));
}

bool isPlain(std::string_view text) {
  return std::ranges::all_of(text, [](char byte) { return byte >= ' ' && byte <= '~' && byte != '|'; });
}

bool fitsFrame(std::int16_t identifier) {
  return identifier >= 0;
}

}  // namespace

Services Auditor::wrap(const Services& services) {
  return recorder_.wrap(services_.emplace(services, *this).services());
}

void Auditor::watch(Library& library) {
  recorder_.watch(library);
  library_ = &library;
  nextObserver_ = std::exchange(library.observer, this);
}

void Auditor::stepBegins(const SocketEvent* event) {
  begin(event != nullptr ? linkOf(event->socket) : std::int16_t{0});
  if (event == nullptr) ++ticks_;
}

void Auditor::created(SocketId id, WatchedSocket& socket) {
  if (id.array != SocketArray::ServerSocket) memoryOf(linkOf(id)).socket = &socket;
}

void Auditor::performs(const ServiceCall& call) {
  if (call.operation == Operation::Send) sends(call.socket, call.text);
  if (call.operation == Operation::Connect) calls(call.socket);
  if (call.operation == Operation::Listen) listens(call.socket);
}

void Auditor::fails(const ServiceCall& call) {
  const std::int16_t link = linkOf(call.socket);
  Memory& memory = stir(link);
  const bool bytesLost = call.operation == Operation::Fetch || call.operation == Operation::ReceivedText;
  memory.gap = memory.gap || bytesLost;
  memory.failed = memory.failedSinceAnswering = true;
  happened(link, Cause::Failed);
}

void Auditor::readsClock(Instant now) {
  if (read_ && *read_ != now) steady_ = false;
  read_ = read_ ? std::max(*read_, now) : now;
}

void Auditor::traced(std::int16_t IdxQuarn, std::string_view text) {
  audit_.traces.add(text);
  Memory& memory = stir(IdxQuarn);
  switch (text.empty() ? '\0' : text.front()) {
    case 'A':
      if (text.starts_with(kActivationTrace)) activated(IdxQuarn);
      break;
    case 'P':
      if (text.starts_with(kFailureTrace)) happened(IdxQuarn, Cause::Failed);
      if (text.starts_with(kReportTrace)) reported(IdxQuarn, codeOf(text));
      break;
    case 'I':
      if (text.starts_with(kBatchTrace)) makesBatch(IdxQuarn, text);
      break;
    case 'N':
      if (text.starts_with(kGivenUpTrace)) givenUp(IdxQuarn);
      break;
    case 'R':
      if (memory.tcp && text.starts_with(kReceivedTrace)) received(memory, text);
      break;
    default:
      break;
  }
  nextObserver_->traced(IdxQuarn, text);
}

void Auditor::received(Memory& memory, std::string_view trace) {
  TextLedger::receiveBody(*memory.received, trace.substr(kReceivedTrace.size()));
  memory.torn = memory.torn || memory.received->torn();
}

void Auditor::called(const Method& method, std::span<const Value> parameters) {
  const auto* index = parameters.empty() ? nullptr : std::get_if<std::int16_t>(&parameters[0]);
  const auto link = method.name == "Add" ? static_cast<std::int16_t>(library_->ConnectionCount + 1)
                    : index != nullptr && library_->validIndex(*index) ? *index
                                                                       : std::int16_t{0};
  begin(link);
  taking_ = method.name == "GetMessaggioArrivato";
  if (method.name == "Add") added(link, parameters);
  if (method.name == "Chiudi") happened(link, Cause::Closed);
  if (method.name == "Uscita") {
    for (int each = 1; each <= library_->ConnectionCount; ++each)
      happened(static_cast<std::int16_t>(each), Cause::Closed);
  }
  if (method.name == "Invia") sendsText(link, std::get<std::string>(parameters[1]));
  if (link != 0 && method.name == "Apri") memoryOf(link).declared = memoryOf(link).failing = false;
  nextObserver_->called(method, parameters);
}

void Auditor::returned(const Value& result) {
  nextObserver_->returned(result);
  if (taking_) delivered(touched_, std::get<std::string>(result));
  end();
}

void Auditor::failed(const Failure& failure) {
  nextObserver_->failed(failure);
  end();
}

void Auditor::sends(SocketId socket, std::string_view bytes) {
  const std::int16_t link = linkOf(socket);
  Memory& memory = stir(link);
  ++audit_.framesSent;
  ++memory.framesSent;
  if (memory.sent != nullptr && bytes.size() > kEnvelope)
    TextLedger::sendBody(*memory.sent, bytes.substr(1, bytes.size() - kEnvelope));
  if (memory.sent != nullptr && bytes.find(kData) != std::string_view::npos) sendsData(link, bytes);
  const std::string_view flaw = flawOfFrame(bytes, memory.identifier);
  if (plain_ && !flaw.empty()) found(link, std::string(flaw));
}

// Only "VUOTABUFFER" lets one be made before the last is acknowledged. That acknowledgement then takes both,
// sent or not.
void Auditor::makesBatch(std::int16_t link, std::string_view trace) {
  memoryOf(link).batch = fieldsOf(trace);
  if (!library_->ConnectionTable[link].UltimoInviato.empty()) happened(link, Cause::Emptied);
}

// Other data than a batch that waits to be sent has been sent before; an acknowledgement that it carries
// comes again, too, and may be taken for that of the batch.
void Auditor::sendsData(std::int16_t link, std::string_view bytes) {
  std::string& batch = memoryOf(link).batch;
  if (batch.empty() || !fieldsOf(bytes).starts_with(batch)) return happened(link, Cause::Repeated);
  batch.clear();
}

void Auditor::calls(SocketId socket) {
  const std::int16_t link = linkOf(socket);
  if (tooEarlyFor(memoryOf(link).stateDeadline)) found(link, "a peer was called before the deadline");
}

// After the peer's orderly close a server listens again at once, but in the event that tells of it.
void Auditor::listens(SocketId socket) {
  const std::int16_t link = linkOf(socket);
  if (tooEarlyFor(memoryOf(link).stateDeadline)) found(link, "a link listened before the deadline");
}

// A connection is given up when its peer is silent for too long, or as soon as an operation fails.
void Auditor::givenUp(std::int16_t link) {
  const Memory& memory = memoryOf(link);
  const bool early =
      memory.served ? !memory.failed && tooEarlyFor(memory.aliveDeadline) && tooEarlyFor(memory.replyDeadline)
                    : tooEarlyFor(memory.stateDeadline);
  if (early) found(link, "a link was given up before the deadline");
}

void Auditor::begin(std::int16_t link) {
  if (depth_++ == 0) {
    steps_ = ticks_ = 0;
    touched_ = link;
    read_.reset();
    steady_ = true;
    taking_ = false;
  }
  ++steps_;
}

void Auditor::end() {
  if (--depth_ > 0) return;
  audit_.steps += steps_;
  if (steps_ > 1) return inspectAll();
  if (touched_ != 0) stir(touched_);
  touched_ != 0 ? inspectStirred() : inspectAll();
}

void Auditor::activated(std::int16_t link) {
  happened(link, Cause::Disconnected);
  Memory& memory = memoryOf(link);
  memory.received->beginAnew(audit_.time.now());
  memory.gap = false;
  const ConnectionRecord& record = library_->ConnectionTable[link];
  if (record.CodaInvio.Count + record.CodaArrivo.Count > 0)
    found(link, "an activation left texts in the queues");
}

// The identifier and the role as the host gave them: the engine's record may have been altered since.
void Auditor::added(std::int16_t link, std::span<const Value> parameters) {
  const auto identifier = std::get<std::int16_t>(parameters[1]);
  const bool client = std::get<bool>(parameters[2]);
  Memory& memory = memoryOf(link) = {};
  memory.identifier = identifier;
  memory.tcp = std::get<bool>(parameters[3]);
  memory.sent = &audit_.ledger.course({machine_, identifier, client});
  memory.received = &audit_.ledger.course({machine_, identifier, !client});
  plain_ = plain_ && fitsFrame(identifier);
  happened(link, Cause::Restarted);
}

void Auditor::happened(std::int16_t link, Cause cause) {
  const Memory& memory = memoryOf(link);
  for (Course* course : {memory.sent, memory.received})
    if (course != nullptr) course->happened(cause, audit_.time.now());
}

void Auditor::sendsText(std::int16_t link, const std::string& text) {
  plain_ = plain_ && isPlain(text);
  if (link == 0) return;
  if (text == kEmptyQueues) happened(link, Cause::Emptied);
  audit_.ledger.send(*memoryOf(link).sent, text, audit_.time.now());
}

Auditor::Memory& Auditor::stir(std::int16_t link) {
  Memory& memory = memoryOf(link);
  if (!std::exchange(memory.stirred, true)) stirred_.push_back(link);
  return memory;
}

void Auditor::inspectStirred() {
  for (const std::int16_t link : stirred_) inspect(link);
  stirred_.clear();
}

// Within one second a link of which nothing shows, and whose deadlines stay, does no more than count down the
// ticks to its repetition.
void Auditor::inspectAll() {
  const bool sameSecond = steps_ == 1 && ticks_ == 1 && read_ == lookedAt_;
  if (!sameSecond) inspectDescriptors();
  for (int i = 1; i <= library_->ConnectionCount; ++i) {
    const auto link = static_cast<std::int16_t>(i);
    const Memory& memory = memoryOf(link);
    const ConnectionRecord& record = library_->ConnectionTable[link];
    const bool missed = wasMissed(record, memory);
    if (!sameSecond || memory.stirred || memory.differs(record)) inspect(link);
    if (missed) found(link, "a tick passed a connected link over");
  }
  stirred_.clear();
  lookedAt_ = read_;
}

void Auditor::inspect(std::int16_t link) {
  Memory& memory = memoryOf(link);
  memory.stirred = false;
  if (!library_->validIndex(link)) return;
  const ConnectionRecord& record = library_->ConnectionTable[link];
  const std::string_view broken = brokenInvariant(record);
  if (!broken.empty()) found(link, std::string(broken));
  inspectQueues(record, memory);
  inspectPace(link, record, memory);
  if (inLoneTick() && steady_) inspectDeadlines(link, record, memory);
  memory.stateDeadline = record.ScadenzaStato;
  memory.replyDeadline = record.ScadenzaB;
  memory.aliveDeadline = record.ScadenzaAlive;
  memory.framesReceived = record.history.framesReceived;
  memory.framesSent = 0;
  memory.failed = memory.torn = false;
  memory.expiries = record.ContaAlive;
  memory.missedReplies = record.ContaTimeoutB;
  memory.exchange = record.StatoB;
  memory.served = record.Attivo && record.Stato == kConnectedPhase;
  memory.trying = record.Attivo && record.Stato != kConnectedPhase;
}

// Whatever happens on other links, a tick serves each that is connected. One whose socket could not be made,
// or fails, need not be looked at.
bool Auditor::wasMissed(const ConnectionRecord& record, const Memory& before) const {
  const bool lookedAt = before.socket == nullptr || before.socket->wasLookedAt();
  const bool served = before.served && record.Attivo && record.Stato == kConnectedPhase;
  return served && !lookedAt && steps_ == 1 && ticks_ == 1 && !before.failed;
}

void Auditor::inspectQueues(const ConnectionRecord& record, const Memory& before) {
  if (before.sent == nullptr) return;
  const Milliseconds now = audit_.time.now();
  if (record.CodaInvio.Count >= kFullQueue) before.sent->happened(Cause::Overflow, now);
  if (record.CodaArrivo.Count >= kFullQueue) before.received->happened(Cause::Overflow, now);
}

// A frame that holds both a text and a query is answered twice. Only strangers send one; but pieces of
// several frames, where others are missing, may make one whose checksum holds.
void Auditor::inspectPace(std::int16_t link, const ConnectionRecord& record, const Memory& before) {
  if (record.history.framesReceived - before.framesReceived > ticks_)
    found(link, "more than one received frame was handled in a tick");
  const std::uint64_t answers = before.torn ? 2 : 1;
  if (before.framesSent > answers * ticks_) found(link, "more than one frame was sent in a tick");
}

void Auditor::inspectDeadlines(std::int16_t link, const ConnectionRecord& record, const Memory& before) {
  if (record.ContaAlive > before.expiries && !passed(before.aliveDeadline, *read_))
    found(link, "the keep-alive expired early");
  if (record.ContaTimeoutB > before.missedReplies && !passed(before.replyDeadline, *read_))
    found(link, "an answer was given up early");
  inspectLateness(link, record, before);
}

// A deadline that was acted on is set anew. What a frame brings is handled first, the exchange on a later
// tick.
void Auditor::inspectLateness(std::int16_t link, const ConnectionRecord& record, const Memory& before) {
  const bool connected = record.Stato == kConnectedPhase;
  const auto missed = [&](Instant deadline, Instant now) {
    return now == deadline && passed(deadline, *read_);
  };
  if (before.trying && record.Attivo && !connected && missed(before.stateDeadline, record.ScadenzaStato))
    found(link, "a tick did not notice that the time of an attempt was over");
  if (!before.served || !record.Attivo || !connected) return;
  if (missed(before.aliveDeadline, record.ScadenzaAlive))
    found(link, "a tick did not notice that the keep-alive had expired");
  const bool exchanging = before.exchange < kExchangeWaiting || before.exchange != record.StatoB ||
                          record.history.framesReceived > before.framesReceived;
  if (!exchanging && missed(before.replyDeadline, record.ScadenzaB))
    found(link, "a tick did not notice that an answer was overdue");
}

void Auditor::inspectDescriptors() {
  if (sockets_ != nullptr && sockets_->descriptors() > sockets_->inUse())
    found(0, "a host holds more descriptors than its sockets use");
}

void Auditor::reported(std::int16_t link, int code) {
  ++audit_.reports[code];
  if (code == 701) happened(link, Cause::Connected);
  if (code == 702) happened(link, Cause::Disconnected);
  Memory& memory = memoryOf(link);
  // The text of a 109 may be impossible to make after the link has already been declared.
  const bool excused = code == 112 && std::exchange(memory.failedSinceAnswering, false);
  if (code == 109 && std::exchange(memory.declared, true)) found(link, "109 twice without 112");
  if (code == 112 && !std::exchange(memory.declared, false) && !excused) found(link, "112 without 109");
  if (code == 991 && std::exchange(memory.failing, true)) found(link, "991 twice without 992");
  if (code == 992 && !std::exchange(memory.failing, false)) found(link, "992 without 991");
}

void Auditor::delivered(std::int16_t link, std::string_view text) {
  if (!audit_.peersKnown || link == 0 || text.empty() || text.starts_with(kReport)) return;
  const Memory& memory = memoryOf(link);
  const Course& course = *memory.received;
  const Arrival arrival = audit_.ledger.deliver(*memory.received, text);
  if (audit_.ledger.unexplained() > 0) found(link, "texts were lost or doubled without a cause");
  if (arrival == Arrival::Foreign && !mayBeForeign(memory, text))
    found(link, "a text was delivered that nobody sent: " + std::string(text));
  // Damage also repeats old frames. Where the first copy of a batch was dropped in part, the second brings
  // its beginning after its end.
  const bool mayBeOld = course.torn() || course.damaged() || course.overflowed();
  if (arrival == Arrival::Old && !mayBeOld)
    found(link, "a text was delivered out of order: " + std::string(text));
}

// A stranger's texts have its mark, or were sent to it by this very link. A start character inside a text is
// where one frame broke off and the next one was taken for the rest of it. The checksum does not notice every
// byte that the network changed or that a failed fetch dropped.
bool Auditor::mayBeForeign(const Memory& memory, std::string_view text) {
  if (!memory.received->torn()) return false;
  return memory.received->damaged() || memory.gap || text.find(kHostileMark) != std::string_view::npos ||
         text.find(kStart) != std::string_view::npos || TextLedger::knows(*memory.sent, text);
}

void Auditor::found(std::int16_t link, std::string text) {
  audit_.findings.add({audit_.time.now(), host_, link, std::move(text)});
}

}  // namespace quarnex::simulation
