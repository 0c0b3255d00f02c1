#include "simulation/runs/simulate_run.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <fstream>
#include <functional>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "quarnex/times_and_limits.h"
#include "services/threads.h"
#include "simulation/checks/engine_watch.h"
#include "simulation/checks/memory_bound.h"
#include "simulation/faults/fault_plan.h"
#include "simulation/runs/disk_sink.h"
#include "simulation/runs/hashed_lines.h"

namespace quarnex::simulation {
namespace {

constexpr int kPairs = 2;
constexpr Milliseconds kTextPause = 3 * kSecond;
// A call or a listen that has just begun takes 60 seconds to fail. Then the link waits 10 until its next
// attempt and up to 20 for the attempt of the other side; the rest is for the ticks between.
constexpr Milliseconds kRecoveryMax = 95 * kSecond;
constexpr Milliseconds kBatchMax = 10 * kSecond;
// A tick takes one frame, and its answer may wait behind as many at the other end.
constexpr Milliseconds kFrameMax = 400;
constexpr std::size_t kFrameBytesMin = 20;
constexpr std::size_t kFewBytes = 200;  // that may wait at a link without texts
constexpr std::size_t kLogBytesKept = std::size_t{64} << 10;
// One exchange carries "9K", and the peer closes. A batch without an acknowledgement is repeated after 5
// seconds; this allows for two.
constexpr Milliseconds kExitMax = 15 * kSecond;

class FileCopy final : public recording::Sink {
 public:
  explicit FileCopy(const std::filesystem::path& path) : file_(path, std::ios::binary) {}
  void write(std::string_view lines) override {
    file_.write(lines.data(), static_cast<std::streamsize>(lines.size()));
  }
  /// False if the disk did not take a part.
  bool whole() { return file_.flush().good(); }

 private:
  std::ofstream file_;
};

class Run {
 public:
  explicit Run(const RunPlan& plan)
      : plan_(plan),
        world_(plan.seed),
        observations_{world_.time()},
        site_(world_, kPairs, plan.links),
        faults_(site_, world_.random(), plan.faults) {
    // Both links with that port may lose or repeat texts.
    faults_.onAffected = [this](Cause cause, Address port, Milliseconds stay) {
      for (const bool fromClient : {true, false})
        observations_.ledger.flow({port.machine, port.port - kPortOfIdentifier0, fromClient})
            .excuse(cause, world_.time().now() + stay);
    };
    forEachHost([this](Host& host, int number) {
      host.log.keptMax = kLogBytesKept;
      host.makeWrapper = [this, &host, number] {
        return watchEngine(observations_, result_.finding, number, host.machine, newLines(number, host.disk),
                           host.sockets);
      };
    });
  }

  RunResult live() {
    try {
      runFaults();
      if (result_.complete) {
        recover();
        settle();
        leave();
      }
    } catch (const TimeStandsStill& stuck) {
      report(stuck.what());
    }
    return result();
  }

 private:
  /// The recordings of one host.
  struct Tape {
    std::shared_ptr<HashedLines> lines;  // of the running engine
    std::shared_ptr<FileCopy> copy;      // on request
    std::shared_ptr<DiskSink> disk;      // of the first engine, on the host's own disk, if that is to fail
    std::uint64_t engines = 0;           // so far
  };

  template <class Act>
  void forEachHost(Act act) {
    int number = 0;
    for (const auto& place : site_.places()) act(place->host(), ++number);
  }
  template <class Look>
  void forEachLink(Look look) {
    forEachHost([&](Host& host, int number) {
      for (int link = 1; host.running() && link <= host.library().ConnectionCount; ++link)
        look(host, number, host.library().ConnectionTable[static_cast<std::int16_t>(link)]);
    });
  }

  // "" is no finding.
  void report(std::string_view text, int host = 0, int link = 0) {
    if (sound() && !text.empty()) result_.finding = {world_.time().now(), host, link, std::string(text)};
  }
  bool sound() const { return !result_.finding; }

  void pass(Milliseconds duration) {
    const Milliseconds end = world_.time().now() + duration;
    while (sound() && world_.time().runNext(end)) {
    }
    if (sound()) world_.time().runUntil(end);
  }

  // Returns the time until `condition` is true; reports `otherwise` if that takes longer than `most`.
  Milliseconds await(const std::function<bool()>& condition, Milliseconds most, const char* otherwise) {
    const Milliseconds begin = world_.time().now();
    bool held = condition();
    while (sound() && !held && world_.time().now() < begin + most) {
      pass(200);
      held = condition();
    }
    if (!held) report(otherwise);
    return world_.time().now() - begin;
  }

  void setTraffic(Milliseconds pause) {
    for (const auto& place : site_.places()) place->setTraffic(pause);
  }

  void runFaults() {
    site_.start();
    setTraffic(kTextPause);
    faults_.begin();
    for (Milliseconds left = plan_.faultTime; left > 0 && result_.complete; left -= kMinute) {
      pass(std::min(left, kMinute));
      requireLittleMemory();
      result_.complete = !plan_.goesOn || plan_.goesOn(world_.time().now());
    }
    faults_.end();
  }

  void recover() {
    result_.aftermath = faults_.aftermath();
    pass(result_.aftermath);
    result_.recovery = await([this] { return site_.allConnected(); }, kRecoveryMax,
                             "links are not connected again 95 seconds after the last fault");
  }

  // Queued texts leave while no new ones come.
  void settle() {
    setTraffic(0);
    const Milliseconds batches = mostQueued() / static_cast<Milliseconds>(kTextsPerBatchMax) + 1;
    const auto frames = static_cast<Milliseconds>(mostWaiting() / kFrameBytesMin);
    await([this] { return mostQueued() == 0 && mostWaiting() <= kFewBytes && site_.allConnected(); },
          kRecoveryMax + batches * kBatchMax + frames * kFrameMax,
          "queued texts do not leave, or frames are not taken, though links are connected");
    pass(30 * kSecond);
    if (!sound()) return;
    requireLittleMemory();
    requireDescriptors(2, "a host holds more than two descriptors for each link");
    observations_.ledger.close();
    if (observations_.ledger.unexplained() > 0) report("texts were lost or doubled without a cause");
  }

  std::int16_t mostQueued() {
    std::int16_t most = 0;
    forEachLink(
        [&](Host&, int, const ConnectionRecord& record) { most = std::max(most, record.CodaInvio.Count); });
    return most;
  }

  // Received bytes that wait at a link, the maximum of all links: a host that has stalled for long has many.
  std::size_t mostWaiting() {
    std::size_t most = 0;
    forEachLink([&](Host& host, int, const ConnectionRecord& record) {
      End* const end = record.ConnessioneClient
                           ? host.sockets.end(SocketArray::ClientSocket, record.IdxClient)
                           : host.sockets.end(SocketArray::SrvAccept, record.IdxServer);
      most = std::max(most, record.Ricevuto.size() + (end != nullptr ? end->arrived() + end->unsent() : 0));
    });
    return most;
  }

  void requireLittleMemory() {
    forEachHost([this](Host& host, int number) {
      if (!host.running()) return;
      report(MemoryBound::heldBeyondNeed(host.library()), number);
      report(MemoryBound::beyondLimit(host.library()), number);
    });
    forEachLink([this](Host& host, int number, const ConnectionRecord& record) {
      report(MemoryBound::heldBeyondNeed(record), number, record.IdxQuarn);
      report(MemoryBound::beyondLimit(host.library(), record), number, record.IdxQuarn);
    });
  }

  void requireDescriptors(int mostPerLink, const char* otherwise) {
    forEachHost([&](Host& host, int number) {
      if (host.sockets.descriptors() > mostPerLink * host.library().ConnectionCount)
        report(otherwise, number);
    });
  }

  // First one host of each pair leaves, whose peers react, then the other, which has no peer any more.
  void leave() {
    for (const std::size_t first : {0U, 1U}) {
      for (std::size_t i = first; sound() && i < site_.places().size(); i += 2)
        site_.places()[i]->host().quarn().Uscita();
      const auto ready = [this, first] {
        for (std::size_t i = first; i < site_.places().size(); i += 2) {
          if (site_.places()[i]->host().quarn().ProntoPerUscire() == 0) return false;
        }
        return true;
      };
      result_.exit =
          std::max(result_.exit, await(ready, kExitMax, "a host is not ready to leave after Uscita"));
    }
    requireDescriptors(0, "a host that has left holds descriptors");
  }

  // For a new engine of that host; the one before has ended.
  std::shared_ptr<HashedLines> newLines(int host, Disk& disk) {
    Tape& tape = tapes_[host];
    finish(host, tape);
    ++tape.engines;
    tape.lines = std::make_shared<HashedLines>();
    if (plan_.recordDirectory) {
      const std::string name = "host" + std::to_string(host) + '-' + std::to_string(tape.engines) + ".jsonl";
      tape.copy = std::make_shared<FileCopy>(*plan_.recordDirectory / name);
      tape.lines->alsoTo(tape.copy);
    }
    if (tape.engines == 1 && faults_.enabled().contains("disk")) {
      tape.disk = std::make_shared<DiskSink>(disk);
      tape.lines->alsoTo(tape.disk);
    }
    return tape.lines;
  }

  void finish(int host, Tape& tape) {
    if (const auto disk = std::exchange(tape.disk, nullptr)) {
      report(disk->flaw(), host);
      ++result_.disksReplayed;
      if (disk->gap()) ++result_.diskGaps;
    }
    if (tape.copy && !std::exchange(tape.copy, nullptr)->whole()) result_.recordingsWhole = false;
    if (!tape.lines) return;
    result_.hash = result_.hash * 0x100000001B3 ^ tape.lines->hash();
    tape.lines.reset();
  }

  RunResult result() {
    for (auto& [host, tape] : tapes_) {
      finish(host, tape);
      result_.engines += tape.engines;
    }
    result_.enabled = faults_.enabled();
    result_.faults = faults_.counts();
    static_cast<SiteCounts&>(result_) = observations_;
    result_.texts = observations_.ledger.counts();
    result_.connections = world_.network().connectionsMade();
    result_.duration = world_.time().now();
    result_.linkHours = static_cast<double>(result_.duration) / kHour * 2 * kPairs * site_.tcpLinks();
    return result_;
  }

  const RunPlan& plan_;
  RunResult result_;
  std::map<int, Tape> tapes_;  // by host
  World world_;
  SiteObservations observations_;
  Site site_;
  FaultPlan faults_;
};

std::filesystem::path freshFolder(const std::filesystem::path& wanted) {
  std::filesystem::path folder = wanted;
  for (int number = 2; std::filesystem::exists(folder) || !std::filesystem::create_directory(folder);
       ++number)
    folder = wanted.string() + '-' + std::to_string(number);
  return folder;
}

}  // namespace

RunResult simulate(const RunPlan& plan) {
  return Run(plan).live();
}

void RunNumbers::add(const RunNumbers& other) {
  for (const auto& [name, count] : other.faults) faults[name] += count;
  for (const auto& [code, count] : other.reports) reports[code] += count;
  traces.add(other.traces);
  texts.add(other.texts);
  framesSent += other.framesSent;
  for (std::size_t i = 0; i < receipts.size(); ++i) receipts[i] += other.receipts[i];
  receiptsExcused += other.receiptsExcused;
  connections += other.connections;
  steps += other.steps;
  engines += other.engines;
  disksReplayed += other.disksReplayed;
  diskGaps += other.diskGaps;
  linkHours += other.linkHours;
  recovery = std::max(recovery, other.recovery);
  exit = std::max(exit, other.exit);
}

std::vector<std::string> RunNumbers::seenLessThan(std::uint64_t least, const FaultSet& allowed) const {
  std::vector<std::string> names;
  const auto require = [&](std::string_view name, std::uint64_t count) {
    if (count < least) names.emplace_back(name);
  };
  for (const Fault* fault : allFaults()) {
    if (!allowed.contains(fault->name)) continue;
    require(fault->name, faults.at(fault->name));
    for (const std::string_view kind : fault->kinds)
      if (!kind.empty()) require(kind, faults.at(kind));
  }
  for (std::size_t i = 0; i < kCauseCount; ++i) {
    const auto cause = static_cast<Cause>(i);
    if (cause != Cause::Unknown) require(nameOf(cause), texts.lost[i] + texts.doubled[i]);
  }
  for (std::size_t i = 0; i < std::size(kTraceTexts); ++i)
    require('"' + std::string(kTraceTexts[i]) + '"', traces.counts()[i]);
  return names;
}

void simulateMany(const RunPlan& plan, std::uint64_t seeds, unsigned jobs,
                  const std::function<bool(std::uint64_t seed, const RunResult& result)>& done) {
  std::atomic<std::uint64_t> next{0};
  Monitor ending;
  const auto work = [&] {
    for (std::uint64_t i = next++; i < seeds; i = next++) {
      RunPlan mine = plan;
      mine.seed += i;
      const RunResult result = simulate(mine);
      const std::lock_guard lock(ending);
      if (!done(mine.seed, result)) next = seeds;
    }
  };
  std::vector<QuietThread> others;
  for (unsigned i = 1; i < jobs; ++i) others.emplace_back(work);
  work();
}

std::filesystem::path recordAgain(RunPlan plan, const std::filesystem::path& place) {
  auto folder = freshFolder(place / ("quarn-simulate-" + std::to_string(plan.seed)));
  plan.recordDirectory = folder;
  plan.goesOn = nullptr;
  if (simulate(plan).recordingsWhole) return folder;
  throw std::runtime_error("the disk did not take all of " + folder.string());
}

}  // namespace quarnex::simulation
