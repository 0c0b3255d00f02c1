// Auditor: stands round one engine of a simulation, records it, and checks after every step what must hold.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "engine/records/library.h"
#include "platform/simulated/simulated_sockets.h"
#include "platform/simulated/virtual_time.h"
#include "recording/recorder/services_recorder.h"
#include "services/observer.h"
#include "services/services_wrapper.h"
#include "simulation/checks/findings.h"
#include "simulation/checks/independent/text_ledger.h"
#include "simulation/checks/independent/trace_texts.h"
#include "simulation/checks/watched_services.h"

namespace quarnex::simulation {
using namespace simulated;

/// What the auditors of all engines of one simulation share.
struct Audit {
  const VirtualTime& time;
  bool peersKnown = true;  ///< their engines are audited too, so the ledger knows what each sent
  Findings findings{};
  TextLedger ledger{};
  std::map<int, std::uint64_t> reports{};  ///< how often, by code
  TraceCounts traces{};
  std::uint64_t steps = 0;
  std::uint64_t framesSent = 0;
};

class Auditor final : public ServicesWrapper, public Observer, public ServicesWatcher {
 public:
  /// Of an engine of host number `host` on `machine`, whose descriptors are those of `sockets`, if known.
  /// `audit` and `sockets` outlive it.
  Auditor(Audit& audit, int host, int machine, std::shared_ptr<recording::LineSink> lines,
          const SimulatedSockets* sockets = nullptr)
      : audit_(audit), host_(host), machine_(machine), sockets_(sockets), recorder_(std::move(lines)) {}

  Services wrap(const Services& services) override;
  void watch(Library& library) override;

 private:
  /// What a link was like after the last step; and, since its `Add`, what it is to be.
  struct Memory {
    std::int16_t identifier = 0;
    bool tcp = false;
    Course* sent = nullptr;  // what goes from this link to its peer
    Course* received = nullptr;
    WatchedSocket* socket = nullptr;  // whose bytes the engine looks for; nullptr if it could not be made
    Instant stateDeadline, replyDeadline, aliveDeadline;
    std::uint64_t framesReceived = 0;
    std::string batch;                  // the fields of one that was built and has not been sent yet
    std::uint64_t framesSent = 0;       // in the step under way
    bool stirred = false;               // a text or a frame of it has shown in the step under way
    bool failed = false;                // an operation of it has failed in the step under way
    bool torn = false;                  // a frame of it came in the step under way, and its course is torn
    bool failedSinceAnswering = false;  // or at any time since the last 112
    bool gap = false;                   // its socket has lost bytes since it was activated
    std::int16_t expiries = 0;
    std::int16_t missedReplies = 0;
    std::int16_t exchange = 0;  // its sub-state
    bool served = false;        // active and connected
    bool trying = false;        // active and not connected
    bool declared = false;      // 109 and no 112 since
    bool failing = false;       // 991 and no 992 since

    bool differs(const ConnectionRecord& record) const {
      return record.ScadenzaB != replyDeadline || record.ScadenzaAlive != aliveDeadline ||
             record.ScadenzaStato != stateDeadline || record.InEsecuzione == kHandlerRunning;
    }
  };

  void stepBegins(const SocketEvent* event) override;
  void stepEnds() override { end(); }
  void created(SocketId id, WatchedSocket& socket) override;
  void performs(const ServiceCall& call) override;
  void fails(const ServiceCall& call) override;
  void readsClock(Instant now) override;

  void traced(std::int16_t IdxQuarn, std::string_view text) override;
  void called(const Method& method, std::span<const Value> parameters) override;
  void returned(const Value& result) override;
  void failed(const Failure& failure) override;

  void sends(SocketId socket, std::string_view bytes);
  void calls(SocketId socket);
  void listens(SocketId socket);
  void begin(std::int16_t link);
  void end();
  void added(std::int16_t link, std::span<const Value> parameters);
  void activated(std::int16_t link);
  void happened(std::int16_t link, Cause cause);
  void makesBatch(std::int16_t link, std::string_view trace);
  void sendsData(std::int16_t link, std::string_view bytes);
  void sendsText(std::int16_t link, const std::string& text);
  Memory& stir(std::int16_t link);
  void inspectStirred();
  void inspectAll();
  void inspect(std::int16_t link);
  bool wasMissed(const ConnectionRecord& record, const Memory& before) const;
  void inspectQueues(const ConnectionRecord& record, const Memory& before);
  void inspectPace(std::int16_t link, const ConnectionRecord& record, const Memory& before);
  void inspectDeadlines(std::int16_t link, const ConnectionRecord& record, const Memory& before);
  void inspectLateness(std::int16_t link, const ConnectionRecord& record, const Memory& before);
  void inspectDescriptors();
  bool inLoneTick() const { return steps_ == 1 && ticks_ == 1 && read_; }
  bool tooEarlyFor(Instant deadline) const { return inLoneTick() && !passed(deadline, *read_); }
  void givenUp(std::int16_t link);
  void received(Memory& memory, std::string_view trace);
  void reported(std::int16_t link, int code);
  void delivered(std::int16_t link, std::string_view text);
  static bool mayBeForeign(const Memory& memory, std::string_view text);
  void found(std::int16_t link, std::string text);

  std::int16_t linkOf(SocketId socket) const {
    const bool client = socket.array == SocketArray::ClientSocket;
    const auto& links = client ? library_->ClientLinks : library_->ServerLinks;
    const auto slot = static_cast<std::size_t>(socket.index) - 1;
    return slot < links.size() ? links[slot] : std::int16_t{0};
  }
  Memory& memoryOf(std::int16_t link) {
    const auto slot = static_cast<std::size_t>(link);
    if (slot >= memories_.size()) memories_.resize(slot + 1);
    return memories_[slot];
  }

  Audit& audit_;
  int host_;
  int machine_;
  const SimulatedSockets* sockets_;
  recording::ServicesRecorder recorder_;
  std::optional<WatchedServices> services_;
  Library* library_ = nullptr;
  Observer* nextObserver_ = nullptr;

  int depth_ = 0;                 // of nested steps
  std::uint64_t steps_ = 0;       // in the outermost one, itself included
  std::uint64_t ticks_ = 0;       // among them
  std::int16_t touched_ = 0;      // the only link that a step without nested ones concerns; 0 = all
  std::optional<Instant> read_;   // the clock in this step, its latest reading
  bool steady_ = true;            // all readings of this step were the same
  bool taking_ = false;           // the host call under way takes a text
  bool plain_ = true;             // texts and identifiers so far can be told from the frame round them
  std::vector<Memory> memories_;  // by link, from 0
  std::vector<std::int16_t> stirred_;
  std::optional<Instant> lookedAt_;  // the clock when all links were looked at last
};

}  // namespace quarnex::simulation
