// Runs a host with many links on the library and real sockets, as the server or the client of a measurement.
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "bench/process.h"
#include "bench/settable_clock.h"
#include "bench/workload.h"
#include "engine/records/frm_sock.h"
#include "host/engine.h"
#include "platform/posix/posix_platform.h"
#include "quarnex/quarn_socket.h"
#include "recording/recorder/file_sink.h"
#include "recording/recorder/quiet_lines.h"
#include "recording/recorder/recorder.h"

namespace {

using namespace quarnex;
using namespace quarnex::bench;

constexpr std::chrono::milliseconds kNoLimit{-1};

// Records into a deleted file, which disappears with the process, if the workload asks for a recording.
class OptionalRecording {
 public:
  explicit OptionalRecording(const Workload& workload) {
    if (!workload.recorded()) return;
    const auto file = std::filesystem::temp_directory_path() / ("quarnex-bench-" + std::to_string(getpid()));
    recorder_.emplace(std::make_shared<recording::QuietLines>(std::make_shared<recording::FileSink>(file)));
    std::filesystem::remove(file);
  }
  Services wrap(const Services& services) { return recorder_ ? recorder_->wrap(services) : services; }
  void watch(Library& library) {
    if (recorder_) recorder_->watch(library);
  }

 private:
  std::optional<recording::ServicesRecorder> recorder_;
};

class LinksHost {
 public:
  explicit LinksHost(const Workload& workload) : workload_(workload) {}

  void setUp() {
    recording_.watch(library_);
    quarn_.Init("");
    for (int i = 0; i < workload_.links; ++i) openLink(i);
    clock_.setForward(kActivationSeconds + 1);
    while (quarn_.snapshot(lastLink()).phase == LinkPhase::Waiting) turn();
    announce("listening");
    while (!allConnected()) turn();
    announce("connected");
  }

  // Turns the loop once, then acts as the host: takes all received items, and keeps the queues of busy links
  // filled.
  void turn() {
    platform_.turn(kNoLimit);
    for (std::int16_t link = 1; link <= lastLink(); ++link) {
      while (quarn_.MessaggioArrivato(link)) quarn_.GetMessaggioArrivato(link);
      if (workload_.busy() && !workload_.server) refill(link);
    }
    // Stops the clock after the first exchange of every link, so that nothing falls due any more.
    if (workload_.quiet() && !quiet_ && exchanges() >= workload_.links) {
      clock_.stop();
      quiet_ = true;
    }
  }

  std::int64_t exchanges() {
    std::uint64_t frames = 0;
    for (std::int16_t link = 1; link <= lastLink(); ++link) {
      frames += library_.ConnectionTable[link].history.framesReceived;
    }
    return static_cast<std::int64_t>(frames);
  }

 private:
  void openLink(int i) {
    const auto identifier = static_cast<std::int16_t>(identifierOfLink(i));
    const std::int16_t link = quarn_.Add("PEER", identifier, !workload_.server, true);
    const ConnectionRecord& record = library_.ConnectionTable[link];
    if (workload_.server) {
      ServerSocket(library_, record.IdxServer).setLocalPort(portOfLink(i));
    } else {
      ClientSocket(library_, record.IdxClient).setRemotePort(portOfLink(i));
    }
    quarn_.Apri(link);
  }

  std::int16_t lastLink() const { return static_cast<std::int16_t>(workload_.links); }

  bool allConnected() {
    for (std::int16_t link = 1; link <= lastLink(); ++link) {
      if (!quarn_.Connesso(link)) return false;
    }
    return true;
  }

  void refill(std::int16_t link) {
    if (library_.ConnectionTable[link].CodaInvio.Count > 0) return;
    for (std::size_t i = 0; i < kTextsPerBatchMax; ++i) quarn_.Invia(link, text_);
  }

  const Workload workload_;
  const std::string text_ = std::string(kTextBytes, 'x');
  bool quiet_ = false;
  SettableClock clock_;
  PosixPlatform platform_;
  Services services_ = platform_.services();
  OptionalRecording recording_{workload_};
  Engine library_{recording_.wrap({services_.sockets, services_.timer, clock_, services_.logFile})};
  QuarnSocket quarn_{library_};
};

}  // namespace

int main(int argumentCount, char** arguments) {
  const Workload workload = workloadOf(argumentCount, arguments);
  raiseDescriptorLimit();
  LinksHost host(workload);
  measure(
      workload, [&] { host.setUp(); }, [&] { host.turn(); }, [&] { return host.exchanges(); });
}
