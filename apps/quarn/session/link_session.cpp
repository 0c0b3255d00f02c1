#include "quarn/session/link_session.h"

#include <algorithm>
#include <vector>

#include "quarn/process_setup.h"
#include "quarn/session/report_words.h"
#include "quarn/shared_arguments.h"
#include "quarn/streams.h"
#include "quarnex/event_report.h"
#include "quarnex/times_and_limits.h"

namespace quarnex::tool {
namespace {

using std::chrono::steady_clock;

// Received texts stay in the link's queue while more bytes than this are unwritten.
constexpr std::size_t kUnwrittenBytesMax = std::size_t{16} * 1024 * 1024;
// A link that is asked to close drops texts that its host has not taken yet, so the peer's host gets this
// time before the close.
constexpr std::chrono::seconds kTimeForPeersHost{1};
// Standard output and standard error get at least this time at the end, whatever `--wait` has left.
constexpr std::chrono::seconds kTimeForOutput{1};
// Attempts during an outage usually fail for the same reason, which is printed again after this time.
constexpr std::chrono::minutes kReminder{10};

}  // namespace

void LinkSession::open() {
  quarn_.Init(options_.logPrefix.value_or(""));
  if (options_.logPrefix) quarn_.AttivaLog();
  index_ = quarn_.Add(options_.type, options_.identifier, options_.client, true);
  if (options_.listenOn) quarn_.listenOn(index_, *options_.listenOn);
  if (!options_.callers.empty()) quarn_.allowCallers(index_, options_.callers);
  if (options_.trace) quarn_.AttivaDebug(index_);
  quarn_.Apri(index_);
  catchInterruptions();
}

bool LinkSession::run() {
  while (stage_ != SessionStage::Ended) step();
  console_.print(summary());
  const std::vector<std::string> missing = finishFiles(quarn_);
  for (const std::string& problem : missing) console_.print(problem);
  flushStreams();
  return closed_ && lines_.lost() == 0 && !streamFailed_ && missing.empty();
}

// The summary first: it is there even if nobody reads standard output.
void LinkSession::flushStreams() {
  const auto deadline = std::max(patienceEnd(), steady_clock::now() + kTimeForOutput);
  console_.output().flush(deadline);
  output_.flush(deadline);
  checkStreams();
  if (const std::size_t bytes = output_.unwritten(); bytes > 0) {
    streamFailed_ = true;
    console_.print("standard output is not read: " + counted(bytes, "byte") + " not written");
  }
  console_.output().flush(steady_clock::now() + kTimeForOutput);
}

void LinkSession::step() {
  const bool reading = stage_ == SessionStage::Open && lines_.wantsInput();
  // The ticks end the wait five times a second.
  turnHost(loop_, reading ? &input_ : nullptr, {&console_.output(), &output_}, std::chrono::seconds(1));
  const LinkSnapshot link = quarn_.snapshot(index_);
  takeTraces(link);
  takeItems(link);
  printState(link);
  checkStreams();
  checkRecording();
  if (stage_ == SessionStage::Open) lines_.takeLines();
  const std::uint64_t acknowledged = lines_.acknowledged();
  lines_.advance(quarn_, link);
  if (lines_.acknowledged() > acknowledged) lastAcknowledgement_ = steady_clock::now();
  advanceStage();
  const bool printing = output_.unwritten() > 0;  // on the same terminal, perhaps
  console_.showProgress(stage_ == SessionStage::Ended || printing ? "" : progress(link));
}

void LinkSession::takeItems(const LinkSnapshot& link) {
  if (link.inbound >= kQueueCapacityMax && !queueFilled_) {
    queueFilled_ = true;
    console_.print("standard output is not read: received texts are being dropped, the oldest first");
  }
  while (output_.unwritten() < kUnwrittenBytesMax && quarn_.MessaggioArrivato(index_)) {
    const bool isReport = quarn_.reportWaits(index_);
    const std::string item = quarn_.GetMessaggioArrivato(index_);
    isReport ? takeReport(item, link) : takeText(item);
  }
}

void LinkSession::takeReport(const std::string& item, const LinkSnapshot& link) {
  const std::optional<EventReport> report = parseEventReport(item);
  if (!report) return console_.print(item);
  printReport(*report, link);
  if (options_.raw) console_.print(timeOfReport(*report), item);
}

void LinkSession::takeText(const std::string& text) {
  ++received_;
  console_.clearProgress();
  output_.appendLine(text);
}

// The library also reports 702 after each failed attempt, and twice at a close; only the first one is
// printed.
void LinkSession::printReport(const EventReport& report, const LinkSnapshot& link) {
  const bool before = connected_;
  if (report.code == kConnectedReport) {
    connected_ = true;
    printed_.clear();
  }
  if (report.code == kDisconnectedReport) connected_ = false;
  if (report.code == kDisconnectedReport && !before) return;
  const std::string words = reportInWords(report, link);
  if (words.empty()) return;
  const bool replaced = report.code == kConnectedReport && before;
  console_.print(timeOfReport(report), words + (replaced ? ", a new caller replaced the previous one" : ""));
}

void LinkSession::takeTraces(const LinkSnapshot& link) {
  for (int i = 0; i < link.captured; ++i) console_.print("| " + quarn_.GetDebug(index_));
}

// Reports announce connections; for every other phase the snapshot's sentence contains more than the report.
void LinkSession::printState(const LinkSnapshot& link) {
  if (link.phase == LinkPhase::Connected) return;
  if (link.phase == phaseSeen_ && link.deadline == deadlineSeen_) return;
  phaseSeen_ = link.phase;
  deadlineSeen_ = link.deadline;
  if (!printedLately(link)) console_.print(link.why);
}

bool LinkSession::printedLately(const LinkSnapshot& link) {
  const auto now = steady_clock::now();
  if (now >= printedSince_ + kReminder) {
    printed_.clear();
    printedSince_ = now;
  }
  return !printed_.insert(outageOf(link)).second;
}

void LinkSession::checkStreams() {
  if (streamFailed_) return;
  if (output_.broken()) console_.print("standard output: " + output_.error() + "; closing");
  if (!input_.error().empty()) console_.print("standard input: " + input_.error() + "; closing");
  streamFailed_ = output_.broken() || !input_.error().empty();
}

void LinkSession::checkRecording() {
  if (recordingFailed_) return;
  const std::string problem = recordingProblem();
  recordingFailed_ = !problem.empty();
  if (recordingFailed_) console_.print(problem);
}

void LinkSession::advanceStage() {
  if (stage_ == SessionStage::Open && (lines_.inputTaken() || interrupted() || output_.broken())) {
    if (interrupted()) console_.print("closing; a second Ctrl-C ends the program at once");
    enter(SessionStage::Draining);
  }
  if (stage_ == SessionStage::Draining) drain();
  if (stage_ == SessionStage::Closing) close();
}

void LinkSession::drain() {
  const auto now = steady_clock::now();
  if (lines_.settled() && now >= lastAcknowledgement_ + kTimeForPeersHost) {
    enter(SessionStage::Closing);
    quarn_.Uscita();
  } else if (!lines_.settled() && now >= patienceEnd()) {
    lines_.giveUp();
    quarn_.Uscita();
    end();
  }
}

void LinkSession::close() {
  closed_ = quarn_.ProntoPerUscire() == -1;
  if (closed_) return end();
  if (steady_clock::now() < patienceEnd()) return;
  console_.print("the peer has not closed the link in time");
  end();
}

// The close itself causes reports and traces.
void LinkSession::end() {
  enter(SessionStage::Ended);
  const LinkSnapshot link = quarn_.snapshot(index_);
  takeTraces(link);
  takeItems(link);
  printState(link);
}

void LinkSession::enter(SessionStage stage) {
  stage_ = stage;
  stageBegan_ = steady_clock::now();
}

steady_clock::time_point LinkSession::patienceEnd() const {
  return std::max(stageBegan_, lastAcknowledgement_) + std::chrono::seconds(options_.waitSeconds);
}

std::string LinkSession::progress(const LinkSnapshot& link) const {
  std::string words = waitInWords(link, wallSecond());
  if (stage_ != SessionStage::Draining && stage_ != SessionStage::Closing) return words;
  const auto left = std::chrono::ceil<std::chrono::seconds>(patienceEnd() - steady_clock::now()).count();
  if (!words.empty()) words += "; ";
  words += lines_.settled() ? "closing" : counted(lines_.unsettled(), "line") + " to be acknowledged";
  return words + ", gives up in " + std::to_string(std::max<std::int64_t>(left, 0)) + " s";
}

std::string LinkSession::summary() const {
  std::string words = closed_ ? "done: " : "not done: ";
  words += counted(lines_.acknowledged(), "line") + " acknowledged, ";
  if (lines_.lost() > 0) words += counted(lines_.lost(), "line") + " lost, ";
  words += counted(received_, "text") + " received";
  const std::uint64_t refused = quarn_.snapshot(index_).callersRefused;
  return refused == 0 ? words : words + ", " + counted(refused, "caller") + " refused";
}

}  // namespace quarnex::tool
