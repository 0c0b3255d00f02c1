#include "testing/rare_mode.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>

#include "services/socket_errors.h"
#include "simulation/peers/wire_format.h"
#include "testing/stage.h"

namespace quarnex::testkit {
namespace {

using simulated::kSecond;

/// A way to cause outcomes, and its chance in a thousand on each occasion.
struct Cause {
  std::string_view name;
  std::uint32_t chance;
};

constexpr std::string_view kLateFrame = "a frame is six seconds late";
constexpr std::string_view kLostFrame = "a frame is lost";
constexpr std::string_view kDoubledFrame = "a frame arrives twice";
constexpr std::string_view kDamagedFrame = "a frame is damaged";
constexpr std::string_view kReset = "a connection is reset";
constexpr std::string_view kEnd = "a connection is ended in the orderly way";
constexpr std::string_view kCloseRequest = "a peer asks to close the link";
constexpr std::string_view kRefusedCall = "a call is refused";
constexpr std::string_view kUnansweredCall = "a call gets no answer";
constexpr std::string_view kSilence = "two hosts do not reach each other for a while";
constexpr std::string_view kStall = "a host stands still";
constexpr std::string_view kClock = "a clock is set";
constexpr std::string_view kFailedListen = "a port is in use";
constexpr std::string_view kFailedCall = "a call cannot begin";
constexpr std::string_view kFailedSend = "a frame cannot be sent";
constexpr std::string_view kFailedAccept = "a caller cannot be accepted";
constexpr std::string_view kFewEvents = "the queue of events holds only a few";
constexpr std::string_view kFailedLog = "a log cannot be created";

constexpr Cause kCauses[] = {
    {kLateFrame, 10},   {kLostFrame, 20},     {kDoubledFrame, 20},    {kDamagedFrame, 20}, {kReset, 10},
    {kCloseRequest, 5}, {kEnd, 10},           {kRefusedCall, 300},    {kSilence, 3},       {kStall, 3},
    {kClock, 3},        {kFailedListen, 300}, {kUnansweredCall, 100}, {kFailedCall, 200},  {kFailedSend, 20},
    {kFailedAccept, 5}, {kFailedLog, 500},    {kFewEvents, 20},
};
constexpr std::uint32_t kEnabledPerThousand = 300;  // of the causes, in one run
constexpr std::size_t kLatestMax = 10;

constexpr RareOutcome kOutcomes[] = {
    {"duplicated-batch", "a batch of texts arrives twice"},
    {"texts-at-reconnection", "the connection ends while texts wait or are not acknowledged"},
    {"received-dropped", "received texts are dropped before the host takes them"},
    {"lost-events", "the queue of events is full, and an event Lost replaces the oldest"},
    {"not-answering", "report 109: the peer does not answer"},
    {"failed-method", "a method throws a Failure, as AttivaLog does on a full disk"},
    {"host-stood-still", "a host does not turn its loop for more than five seconds"},
    {"clock-stepped", "the system's clock is set"},
    {"receipt-reconnection", "texts are dropped or unknown, because the link reconnected"},
    {"receipt-reopened", "texts are dropped or unknown, because the host opened the link anew"},
    {"receipt-closed", "texts are dropped or unknown, because the link was closed"},
    {"receipt-queues-emptied",
     "texts are dropped or unknown, because the host emptied the queues with VUOTABUFFER"},
    {"receipt-queue-full", "texts are dropped, because 5,000 later ones waited"},
    {"receipt-stray-acknowledgement", "texts are dropped or unknown, because an acknowledgement came twice"},
    {"receipt-content", "texts break the text rules, or share a message with a text that does"},
    {"receipt-timeout", "drainAndClose or drainAndLeave ran out of time"},
    {"receipt-no-peer", "a text found no other link inside the process"},
};

// Without those that hosts of this library do not cause each other: too many overdue answers in a row, before
// the keep-alive acts, and a frame without an end.
struct FailureMeaning {
  FailureKind kind;
  std::string_view meaning;
};
constexpr FailureMeaning kFailures[] = {
    {FailureKind::ListenFailed, "a link cannot listen"},
    {FailureKind::CallNotStarted, "a call cannot begin"},
    {FailureKind::SendFailed, "a frame cannot be sent"},
    {FailureKind::CallFailed, "a call is refused"},
    {FailureKind::AcceptFailed, "an incoming call cannot be accepted"},
    {FailureKind::ListenTimeout, "nobody calls for a minute"},
    {FailureKind::ConnectTimeout, "a call gets no answer for a minute"},
    {FailureKind::KeepAliveTimeout, "nothing arrives for two keep-alive periods"},
    {FailureKind::ClosedByPeer, "the peer's process ends"},
    {FailureKind::ConnectionBroken, "the connection is reset"},
    {FailureKind::PeerAskedToClose, "the peer's host closes the link"},
};

// The request of the host that has sent `frame`: STX, "9999000", three digits of the identifier, and more.
std::string closeRequestLike(std::string_view frame) {
  const std::string digits(frame.substr(8, 3));
  return simulation::wire::frame(simulation::wire::message(std::atoi(digits.c_str()), {"9K", "9CMD", "9."}));
}

std::int16_t codeOf(std::string_view cause) {
  return cause == kFailedListen ? 10048 : 10055;
}

std::string_view causeOf(Operation operation) {
  switch (operation) {
    case Operation::Listen:
      return kFailedListen;
    case Operation::Connect:
      return kFailedCall;
    case Operation::Send:
      return kFailedSend;
    case Operation::CreateLog:
      return kFailedLog;
    default:
      return "";
  }
}

}  // namespace

std::vector<RareOutcome> rareOutcomes() {
  std::vector<RareOutcome> outcomes(std::begin(kOutcomes), std::end(kOutcomes));
  for (const auto& [kind, meaning] : kFailures) outcomes.push_back({nameOf(kind), meaning});
  return outcomes;
}

RareMode::RareMode(Stage& stage, std::uint64_t seed) : stage_(stage), random_(~seed) {
  for (const Cause& cause : kCauses)
    if (random_.chance(kEnabledPerThousand)) enabled_.insert(cause.name);
}

void RareMode::calm() {
  calm_ = true;
  lasting_.clear();
  for (const Cast& cast : stage_.casts()) {
    if (cast.engine.running() && cast.engine.library().events)
      cast.engine.library().events->setLimit(kEventsMax);
  }
}

bool RareMode::happens(std::string_view cause, std::uint32_t likelier) {
  if (calm_ || !enabled_.contains(cause)) return false;
  const auto* const found = std::ranges::find(kCauses, cause, &Cause::name);
  if (!random_.chance(found->chance * likelier)) return false;
  latestCauses_.push_back("after " + secondsOf(stage_.now()) + ": " + std::string(cause));
  if (latestCauses_.size() > kLatestMax) latestCauses_.pop_front();
  return true;
}

void RareMode::decide(simulated::CallFate& fate) {
  if (happens(kRefusedCall)) fate.code = simulated::kConnectionRefused;
  if (happens(kUnansweredCall)) fate.hangs = true;
}

std::optional<simulation::OperationFault> RareMode::failureOf(const ServiceCall& call) {
  const std::string_view cause = causeOf(call.operation);
  if (cause.empty() || !happens(cause)) return std::nullopt;
  const Failure failure = cause == kFailedLog ? Failure(61, "Disk full") : numberedFailure(codeOf(cause));
  return simulation::OperationFault{failure.number(), failure.what()};
}

std::vector<simulated::Piece> RareMode::pass(simulated::Connection& connection, bool fromCaller,
                                             std::vector<simulated::Piece> pieces) {
  if (pieces.empty()) return pieces;
  std::string& frame = pieces[0].bytes;
  // Most frames only keep an idle link alive.
  const bool matters = frame.find("|9CMD|") != frame.npos || frame.find("|9ACK|") != frame.npos;
  const std::uint32_t likelier = matters ? 6 : 1;
  if (happens(kLostFrame, likelier)) return {};
  if (happens(kLateFrame, likelier)) pieces[0].delay = 6 * kSecond;
  const Direction direction(connection.port.port, fromCaller);
  if (happens(kDamagedFrame, likelier)) {
    frame[frame.size() / 2] ^= 1;
    return pieces;
  }
  follow(direction, frame);
  if (happens(kDoubledFrame, likelier)) {
    follow(direction, frame);
    pieces.push_back(pieces[0]);
  }
  if (happens(kCloseRequest)) pieces.push_back({closeRequestLike(pieces[0].bytes)});
  if (happens(kReset)) cutLater(connection, simulated::kConnectionReset);
  if (happens(kEnd)) cutLater(connection, 0);
  return pieces;
}

// Not inside the send whose frame is on its way.
void RareMode::cutLater(simulated::Connection& connection, std::int16_t code) const {
  simulated::VirtualTime& time = stage_.world().time();
  time.at(time.now(), [weak = connection.weak_from_this(), code] {
    if (const auto still = weak.lock()) still->cutBoth(code);
  });
}

// A batch is a repetition if it was delivered before and no acknowledgement was delivered meanwhile.
void RareMode::follow(Direction direction, std::string_view frame) {
  if (frame.find("|9ACK|") != frame.npos) batches_.erase({direction.first, !direction.second});
  const std::size_t end = frame.find("|9CMD|");
  if (end == frame.npos) return;
  const std::string_view texts = frame.substr(0, end).substr(std::min(frame.find('|'), end));
  std::string& before = batches_[direction];
  if (before == texts) meet("duplicated-batch");
  before = texts;
}

void RareMode::turned(Cast& cast) {
  const QuarnSocket quarn(cast.engine.library());
  for (int link = 1; link <= cast.engine.library().ConnectionCount; ++link)
    look(*cast.host, quarn.snapshot(link));
  if (cast.tape->callsFailed() > 0) meet("failed-method");
  const auto& events = cast.engine.library().events;
  if (events && events->hasLost()) meet("lost-events");
  causeOnTurn(cast);
}

void RareMode::lookAtOutcomes(const LinkSnapshot& link) {
  for (std::size_t i = 1; i < kReceiptCauseCount; ++i) {
    if (link.outcomes.dropped[i] + link.outcomes.unknown[i] > 0)
      meet(std::string("receipt-") + nameOf(static_cast<ReceiptCause>(i)));
  }
}

void RareMode::causeOnTurn(Cast& cast) {
  Library& library = cast.engine.library();
  if (library.events && happens(kFewEvents)) library.events->setLimit(3);
  for (std::int16_t k = 1; k <= library.ServerCount; ++k) {
    const bool listens = library.ConnectionTable[library.ServerLinks[static_cast<std::size_t>(k - 1)]].Attivo;
    if (listens && happens(kFailedAccept))
      cast.engine.sockets.raise(SocketArray::ServerSocket, k, EventKind::Accept, 10024);
  }
  if (happens(kSilence)) silence(*cast.host);
  if (happens(kStall)) {
    cast.engine.loop.stall(random_.between(6 * kSecond, 20 * kSecond));
    meet("host-stood-still");
  }
  if (happens(kClock)) {
    cast.engine.clock.jump(random_.between(-3600, 3600) * kSecond);
    meet("clock-stepped");
  }
}

void RareMode::silence(const TestHost& host) {
  std::vector<NetworkRule> rules;
  for (const Cast& other : stage_.casts()) {
    rules.push_back({NetworkRule::Effect::Lose, &host, other.host.get()});
    rules.push_back({NetworkRule::Effect::Lose, other.host.get(), &host});
  }
  lasting_.push_back(std::make_shared<Fault>(stage_.rules().add(std::move(rules))));
  simulated::VirtualTime& time = stage_.world().time();
  time.at(time.now() + random_.between(2 * kSecond, 60 * kSecond), [fault = std::weak_ptr(lasting_.back())] {
    if (const auto still = fault.lock()) still->end();
  });
}

void RareMode::look(const TestHost& host, const LinkSnapshot& link) {
  SeenLink& seen = links_[{&host, link.index}];
  if (link.reconnections > seen.reconnections && seen.hadTexts) meet("texts-at-reconnection");
  if (link.reportedDown) meet("not-answering");
  if (link.receivedDropped > 0) meet("received-dropped");
  lookAtOutcomes(link);
  if (link.lastFailure) {
    const std::pair failure(link.lastFailure->kind, link.lastFailure->at);
    if (seen.failure != failure) meet(nameOf(failure.first));
    seen.failure = failure;
  }
  seen.reconnections = link.reconnections;
  seen.hadTexts = link.outbound > 0 || link.batchInFlight;
}

}  // namespace quarnex::testkit
