#include "quarn/session/link_session.h"

#include <algorithm>
#include <vector>

#include "quarn/process_setup.h"
#include "quarn/session/json_lines.h"
#include "quarn/shared_arguments.h"
#include "quarn/type_hint.h"
#include "quarnex/times_and_limits.h"

namespace quarnex::tool {
namespace {

using std::chrono::seconds;
using std::chrono::steady_clock;

// A link goes on acknowledging texts as long as it is open, so it is closed while more bytes than this are
// unwritten. The fastest link delivers them in 26 seconds.
constexpr std::size_t kUnwrittenBytesMax = std::size_t{4} * 1024 * 1024;
// A link that is asked to close drops texts that its host has not taken yet, so the peer's host gets this
// time before the close.
constexpr seconds kTimeForPeersHost{1};
// Standard output and standard error get at least this time at the end, whatever `--wait` has left.
constexpr seconds kTimeForOutput{1};
// Longest wait for the close if the session ends because nothing more is expected of the link.
constexpr seconds kHopelessWait{2};
// A link listens or calls at the latest after this time.
constexpr int kComingUpSeconds = kActivationSeconds + 2;
constexpr std::int32_t kNobodyListens = 10061;

}  // namespace

void LinkSession::open() {
  quarn_.Init(options_.logPrefix.value_or(""));
  if (options_.logPrefix) quarn_.AttivaLog();
  index_ = quarn_.Add(options_.type, options_.identifier, options_.client, true);
  if (options_.listenOn) quarn_.listenOn(index_, *options_.listenOn);
  if (!options_.callers.empty()) quarn_.allowCallers(index_, options_.callers);
  if (options_.trace) quarn_.AttivaDebug(index_);
  if (options_.readsInput() && isTerminal(kStandardInput)) console_.keepTypedText();
  printHints();
  quarn_.enableEvents(index_);
  quarn_.Apri(index_);
  began_ = steady_clock::now();
  catchInterruptions();
}

void LinkSession::printHints() {
  const std::string hint = typeHint(options_.type);
  if (!hint.empty()) console_.print('"' + options_.type + "\" is none of the named types; " + hint);
  const bool sends = options_.readsInput() || !options_.messages.empty();
  if (sends && options_.waitSeconds < kComingUpSeconds) {
    console_.print("--wait " + std::to_string(options_.waitSeconds) + " is shorter than the " +
                   std::to_string(kComingUpSeconds) +
                   " s that a link needs to come up, so lines at the end of the input may be given up");
  }
}

int LinkSession::run() {
  while (stage_ != SessionStage::Ended) step();
  return conclude();
}

void LinkSession::step() {
  const bool reading = stage_ == SessionStage::Open && lines_.wantsInput();
  // The ticks end the wait five times a second.
  turnHost(loop_, reading ? &input_ : nullptr, {&console_.output(), &output_}, seconds(1));
  const LinkSnapshot link = quarn_.snapshot(index_);
  news_.takeTraces(quarn_, link);
  takeEvents(link);
  takeItems();
  news_.takeState(link);
  checkStreams();
  checkRecording();
  if (stage_ == SessionStage::Open) {
    limitUnwritten(link);
    lines_.takeLines();
  }
  lines_.advance(quarn_, link);
  lines_.printWarnings(false);
  texts_.printWarnings(false);
  service_.update(link.why);
  advanceStage(link);
  const bool printing = output_.unwritten() > 0;  // on the same terminal, perhaps
  if (stage_ == SessionStage::Ended) return console_.showProgress("");
  if (!printing || console_.progressHasOwnRow()) console_.showProgress(progress(link));
}

// The texts received have lines of their own.
void LinkSession::takeEvents(const LinkSnapshot& link) {
  const std::uint64_t acknowledged = lines_.acknowledged();
  while (const std::optional<LinkEvent> event = quarn_.nextEvent()) {
    NumberedRange lines;
    if (event->type == EventType::Receipts) lines = lines_.takeReceipt(event->receipt);
    news_.takeEvent(*event, link);
    if (event->type == EventType::Connected) news_.takeOutages(quarn_.outages(index_));
    if (options_.json && event->type != EventType::TextsReceived) output_.appendLine(lineOf(*event, lines));
  }
  if (lines_.acknowledged() > acknowledged) lastAcknowledgement_ = steady_clock::now();
}

void LinkSession::takeItems() {
  while (quarn_.MessaggioArrivato(index_)) {
    const bool isReport = quarn_.reportWaits(index_);
    const std::string item = quarn_.GetMessaggioArrivato(index_);
    isReport ? news_.takeReport(item) : texts_.take(item);
  }
}

void LinkSession::limitUnwritten(const LinkSnapshot& link) {
  const std::size_t bytes = output_.unwritten();
  if (!paused_ && bytes >= kUnwrittenBytesMax) {
    paused_ = true;
    console_.print("standard output is not read: " + texts_.lastWritten() +
                   "; closing the link, so that it acknowledges no further texts");
    quarn_.Chiudi(index_);
  } else if (paused_ && bytes == 0 && link.phase == LinkPhase::Closed && !link.closing) {
    paused_ = false;
    console_.print("standard output is read again: opening the link");
    quarn_.Apri(index_);
  }
}

void LinkSession::checkStreams() {
  if (!result_.outputFailed && output_.broken()) {
    result_.outputFailed = true;
    console_.print("standard output: " + output_.error() + "; " + texts_.lastWritten() + "; closing");
  }
  if (!result_.inputFailed && !input_.error().empty()) {
    result_.inputFailed = true;
    console_.print("standard input: " + input_.error() + "; closing");
  }
}

void LinkSession::checkRecording() {
  if (recordingFailed_) return;
  const std::string problem = recordingProblem();
  recordingFailed_ = !problem.empty();
  if (recordingFailed_) console_.print(problem);
}

void LinkSession::advanceStage(const LinkSnapshot& link) {
  result_.timedOut = result_.timedOut || timeIsOver();
  if (stage_ == SessionStage::Open && mustEnd(link)) {
    service_.stopping();
    lines_.dropRest();
    enter(SessionStage::Draining);
  }
  if (stage_ == SessionStage::Draining) drain();
  if (stage_ == SessionStage::Closing) close();
}

bool LinkSession::mustEnd(const LinkSnapshot& link) {
  if (interrupted()) {
    console_.print("closing; a second Ctrl-C ends the program at once");
    return true;
  }
  if (options_.once && link.lastFailure) {
    result_.failedOnce = link.lastFailure->kind != FailureKind::PeerAskedToClose;
    return true;
  }
  if (result_.outputFailed || result_.inputFailed || result_.timedOut) return true;
  if (options_.count > 0) return texts_.countReached();
  if (options_.receiveOnly || !lines_.inputTaken()) return false;
  if (lines_.taken() == 0) console_.print("the input is empty; --receive-only receives without input");
  return true;
}

// Once everything is decided, the time of the close does not count.
bool LinkSession::timeIsOver() const {
  const bool decided = stage_ == SessionStage::Draining && lines_.settled();
  if (options_.timeoutSeconds == 0 || decided || stage_ > SessionStage::Draining) return false;
  return steady_clock::now() >= began_ + seconds(options_.timeoutSeconds);
}

void LinkSession::drain() {
  const auto now = steady_clock::now();
  if (!lines_.settled() && now >= patienceEnd()) lines_.giveUp(quarn_, index_);
  if (!lines_.settled() || (!hopeless() && now < lastAcknowledgement_ + kTimeForPeersHost)) return;
  enter(SessionStage::Closing);
  quarn_.Uscita();
}

void LinkSession::close() {
  result_.closed = quarn_.ProntoPerUscire() == -1;
  if (result_.closed) return end();
  if (steady_clock::now() < patienceEnd()) return;
  console_.print("the peer has not closed the link in time");
  end();
}

// The close itself causes reports and traces.
void LinkSession::end() {
  enter(SessionStage::Ended);
  const LinkSnapshot link = quarn_.snapshot(index_);
  news_.takeTraces(quarn_, link);
  takeEvents(link);
  takeItems();
  news_.takeState(link);
}

void LinkSession::enter(SessionStage stage) {
  stage_ = stage;
  stageBegan_ = steady_clock::now();
}

bool LinkSession::hopeless() const {
  return result_.timedOut || result_.failedOnce || result_.outputFailed;
}

steady_clock::time_point LinkSession::patienceEnd() const {
  const seconds wait(options_.waitSeconds);
  if (hopeless() && stage_ == SessionStage::Draining) return stageBegan_;
  if (hopeless()) return stageBegan_ + std::min(wait, kHopelessWait);
  return std::max(stageBegan_, lastAcknowledgement_) + wait;
}

std::string LinkSession::progress(const LinkSnapshot& link) const {
  std::string words = waitInWords(link, wallSecond());
  if (stage_ != SessionStage::Draining && stage_ != SessionStage::Closing) return words;
  const auto left = std::chrono::ceil<seconds>(patienceEnd() - steady_clock::now()).count();
  if (!words.empty()) words += "; ";
  words += lines_.settled() ? "closing" : counted(lines_.unsettled(), "line") + " to be acknowledged";
  return words + ", gives up in " + std::to_string(std::max<std::int64_t>(left, 0)) + " s";
}

int LinkSession::conclude() {
  lines_.printWarnings(true);
  texts_.printWarnings(true);
  finishOutput();
  for (const std::string& problem : finishFiles(quarn_)) {
    result_.filesIncomplete = true;
    console_.print(problem);
  }
  fillResult();
  const EndCause cause = causeOf(result_);
  writeEnd(cause);
  const std::string last = summary(cause);
  cause == EndCause::Done ? console_.print(last) : console_.printAlways(last);
  console_.output().flush(steady_clock::now() + kTimeForOutput);
  return statusOf(cause);
}

void LinkSession::finishOutput() {
  output_.flush(std::max(patienceEnd(), steady_clock::now() + kTimeForOutput));
  checkStreams();
  const std::size_t bytes = output_.unwritten();
  if (bytes == 0) return;
  result_.outputFailed = true;
  console_.print("standard output is not read: " + counted(bytes, "byte") + " not written; " +
                 texts_.lastWritten());
}

void LinkSession::fillResult() {
  const LinkSnapshot link = quarn_.snapshot(index_);
  result_.wasConnected = news_.wasConnected();
  result_.callRefused = link.lastFailure && link.lastFailure->number == kNobodyListens;
  result_.refused = lines_.refused();
  result_.dropped = lines_.dropped();
  result_.unknown = lines_.unknown();
  result_.received = texts_.count();
  result_.countWanted = options_.count;
}

// If standard output does not take this line either, nobody reads the status in it.
void LinkSession::writeEnd(EndCause cause) {
  if (!options_.json) return;
  JsonObject line = beginLine("end");
  line.add("status", statusOf(cause)).add("cause", nameOf(cause));
  line.add("acknowledged", lines_.acknowledged()).add("dropped", lines_.dropped());
  line.add("unknown", lines_.unknown()).add("refused", lines_.refused()).add("sentAgain", lines_.sentAgain());
  line.add("received", texts_.count()).add("written", texts_.written());
  output_.appendLine(line.text());
  output_.flush(steady_clock::now() + kTimeForOutput);
}

std::string LinkSession::summary(EndCause cause) const {
  std::string words = "done: ";
  if (cause != EndCause::Done)
    words = "not done (status " + std::to_string(statusOf(cause)) + ", " + nameOf(cause) + "): ";
  words += counted(lines_.acknowledged(), "line") + " acknowledged, ";
  if (lines_.dropped() > 0) words += counted(lines_.dropped(), "line") + " dropped, ";
  if (lines_.unknown() > 0) words += counted(lines_.unknown(), "line") + " unknown, ";
  if (lines_.sentAgain() > 0) words += counted(lines_.sentAgain(), "line") + " sent again, ";
  if (lines_.refused() > 0) words += counted(lines_.refused(), "line") + " not sent, ";
  words += counted(texts_.count(), "text") + " received";
  if (texts_.surplus() > 0) words += ", " + counted(texts_.surplus(), "text") + " beyond --count not written";
  const std::uint64_t callers = quarn_.snapshot(index_).callersRefused;
  return callers == 0 ? words : words + ", " + counted(callers, "caller") + " refused";
}

}  // namespace quarnex::tool
