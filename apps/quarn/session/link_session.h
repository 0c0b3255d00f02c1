// One link in the manner of netcat: lines of standard input go to the peer, its texts to standard output.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <set>
#include <string>

#include "quarn/console.h"
#include "quarn/session/outgoing_lines.h"
#include "quarn/session/report_words.h"
#include "quarn/streams.h"
#include "quarnex/event_report.h"
#include "quarnex/host_loop.h"
#include "quarnex/quarn_socket.h"

namespace quarnex::tool {

struct SessionOptions {
  std::string type;
  std::int16_t identifier = 0;
  bool client = false;                   ///< this side calls; otherwise it listens
  int waitSeconds = 30;                  ///< patience at the end
  std::optional<std::string> logPrefix;  ///< keep a log whose file name begins so
  std::optional<std::string> recording;  ///< keep a recording in this file
  bool trace = false;                    ///< the link's trace on standard error
  bool raw = false;                      ///< reports on standard error also as they are
};

/// A session from `open` to its end. At the end of the input, or interrupted, it waits until the lines have
/// been acknowledged, closes the link and waits for that.
class LinkSession {
 public:
  explicit LinkSession(const SessionOptions& options) : options_(options) {}

  /// Opens the link. Throws `Failure` if the log cannot be created.
  void open();
  /// Turns the loop to the end. True if every line was acknowledged, the link closed and the input read.
  bool run();

 private:
  enum class Stage { Open, Draining, Closing, Ended };

  void step();
  void takeItems(const LinkSnapshot& link);
  void takeItem(const std::string& item, const LinkSnapshot& link);
  void printReport(const EventReport& report, const LinkSnapshot& link);
  void takeTraces(const LinkSnapshot& link);
  void printState(const LinkSnapshot& link);
  bool printedLately(const LinkSnapshot& link);
  void checkStreams();
  void checkRecording();
  void advanceStage();
  void drain();
  void close();
  void end();
  void enter(Stage stage);
  std::chrono::steady_clock::time_point patienceEnd() const;
  std::string progress(const LinkSnapshot& link) const;
  std::string summary() const;

  const SessionOptions& options_;
  QuarnSocket quarn_;
  HostLoop loop_;
  Console console_;
  LineReader input_{kStandardInput, std::size_t{1024} * 1024};  // no text of that length can be sent
  OutputBuffer output_{kStandardOutput};
  OutgoingLines lines_{input_, console_};
  std::int16_t index_ = 0;

  Stage stage_ = Stage::Open;
  std::chrono::steady_clock::time_point stageBegan_, lastAcknowledgement_;
  bool closed_ = false;
  bool streamFailed_ = false;
  bool recordingFailed_ = false;
  bool queueFilled_ = false;
  bool connected_ = false;  // by the reports
  std::uint64_t received_ = 0;
  LinkPhase phaseSeen_ = LinkPhase::Closed;  // of the last state, with its deadline
  std::optional<std::int64_t> deadlineSeen_;
  std::set<Outage> printed_;  // since the last connection or reminder
  std::chrono::steady_clock::time_point printedSince_;
};

}  // namespace quarnex::tool
