#include "quarn/session/link_session.h"

#include <algorithm>

#include "quarn/process_setup.h"
#include "quarn/session/report_words.h"
#include "quarn/shared_arguments.h"
#include "quarn/streams.h"
#include "quarnex/event_report.h"

namespace quarnex::tool {
namespace {

using std::chrono::steady_clock;

// Received texts that standard output has not taken are held up to this size; the rest stays in the link's
// queue.
constexpr std::size_t kUnwrittenBytesMax = std::size_t{16} * 1024 * 1024;
constexpr int kQueueLimit = 5000;
// When a link is asked to close, it drops what its host has not taken; hosts look several times a second.
constexpr std::chrono::seconds kTimeForPeersHost{1};
// Each attempt of an outage fails like the one before it. What it says is said again after so long.
constexpr std::chrono::minutes kReminder{10};

}  // namespace

void LinkSession::open() {
  quarn_.Init(options_.logPrefix.value_or(""));
  if (options_.logPrefix) quarn_.AttivaLog();
  index_ = quarn_.Add(options_.type, options_.identifier, options_.client, true);
  if (options_.trace) quarn_.AttivaDebug(index_);
  quarn_.Apri(index_);
  catchInterruptions();
}

bool LinkSession::run() {
  while (stage_ != Stage::Ended) step();
  console_.print(summary());
  quarn_.DisattivaLog(index_);
  output_.flush();
  console_.output().flush();
  return closed_ && lines_.lost() == 0 && !streamFailed_ && !recordingFailed_;
}

void LinkSession::step() {
  const bool reading = stage_ == Stage::Open && lines_.wantsInput();
  // Ticks end the wait five times a second.
  turnHost(loop_, reading ? &input_ : nullptr, {&console_.output(), &output_}, std::chrono::seconds(1));
  const LinkSnapshot link = quarn_.snapshot(index_);
  takeTraces(link);
  takeItems(link);
  printState(link);
  checkStreams();
  checkRecording();
  if (stage_ == Stage::Open) lines_.takeLines();
  const std::uint64_t acknowledged = lines_.acknowledged();
  lines_.advance(quarn_, link);
  if (lines_.acknowledged() > acknowledged) lastAcknowledgement_ = steady_clock::now();
  advanceStage();
  console_.showProgress(stage_ == Stage::Ended ? "" : progress(link));
}

void LinkSession::takeItems(const LinkSnapshot& link) {
  if (link.inbound >= kQueueLimit && !queueFilled_) {
    queueFilled_ = true;
    console_.print("standard output is not read: received texts are being dropped, the oldest first");
  }
  while (output_.unwritten() < kUnwrittenBytesMax && quarn_.MessaggioArrivato(index_)) {
    takeItem(quarn_.GetMessaggioArrivato(index_), link);
  }
}

// A peer can send a text that is a report; one of another link's name is no report of ours.
void LinkSession::takeItem(const std::string& item, const LinkSnapshot& link) {
  const std::optional<EventReport> report = parseEventReport(item);
  if (report && report->identifier == options_.identifier && report->type == options_.type) {
    printReport(*report, link);
    if (options_.raw) console_.print(timeOfReport(*report), item);
    return;
  }
  ++received_;
  console_.showProgress("");
  output_.append(item + '\n');
}

// 702 comes after every failed attempt, too, and twice at a close.
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
  console_.print(timeOfReport(report),
                 words + (replaced ? ", another caller in place of the one before" : ""));
}

void LinkSession::takeTraces(const LinkSnapshot& link) {
  for (int i = 0; i < link.captured; ++i) console_.print("| " + quarn_.GetDebug(index_));
}

// The reports announce connections; in every other phase the sentence of the snapshot contains more than they
// do.
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
  if (stage_ == Stage::Open && (lines_.inputTaken() || interrupted() || output_.broken())) {
    if (interrupted()) console_.print("closing; once more ends it at once");
    enter(Stage::Draining);
  }
  if (stage_ == Stage::Draining) drain();
  if (stage_ == Stage::Closing) close();
}

void LinkSession::drain() {
  const auto now = steady_clock::now();
  if (lines_.settled() && now >= lastAcknowledgement_ + kTimeForPeersHost) {
    enter(Stage::Closing);
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
  console_.print("the peer was asked to close and has not done so");
  end();
}

// Closing itself makes reports.
void LinkSession::end() {
  enter(Stage::Ended);
  const LinkSnapshot link = quarn_.snapshot(index_);
  takeTraces(link);
  takeItems(link);
  printState(link);
}

void LinkSession::enter(Stage stage) {
  stage_ = stage;
  stageBegan_ = steady_clock::now();
}

steady_clock::time_point LinkSession::patienceEnd() const {
  return std::max(stageBegan_, lastAcknowledgement_) + std::chrono::seconds(options_.waitSeconds);
}

std::string LinkSession::progress(const LinkSnapshot& link) const {
  std::string words = waitInWords(link, wallSecond());
  if (stage_ != Stage::Draining && stage_ != Stage::Closing) return words;
  const auto left = std::chrono::ceil<std::chrono::seconds>(patienceEnd() - steady_clock::now()).count();
  if (!words.empty()) words += "; ";
  words += lines_.settled() ? "closing" : counted(lines_.unsettled(), "line") + " to be acknowledged";
  return words + ", gives up in " + std::to_string(std::max<std::int64_t>(left, 0)) + " s";
}

std::string LinkSession::summary() const {
  std::string words = closed_ ? "done: " : "not done: ";
  words += counted(lines_.acknowledged(), "line") + " acknowledged, ";
  if (lines_.lost() > 0) words += counted(lines_.lost(), "line") + " lost, ";
  return words + counted(received_, "text") + " received";
}

}  // namespace quarnex::tool
