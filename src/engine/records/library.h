// Holds the state that all links share. One library serves every QuarnSocket of a process; tests and
// simulations create as many as they need.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "engine/records/connection_table.h"
#include "engine/records/event_queue.h"
#include "quarnex/failure.h"
#include "quarnex/times_and_limits.h"
#include "services/services.h"

namespace quarnex {

class FrmSock;
class Observer;
class Trap;

struct FormProcedures;

struct Library {
  /// `services` and `procedures` outlive the library. Hosts compose an `Engine`, which names the procedures.
  Library(Services services, const FormProcedures& procedures);
  ~Library();
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;

  /// Before the first link. `limits` are consistent.
  void setLimits(const MemoryLimits& limits);

  bool validIndex(std::int16_t IdxQuarn) const { return IdxQuarn >= 1 && IdxQuarn <= ConnectionCount; }

  Services services;
  const FormProcedures& procedures;  // run by the events of the form
  Observer* observer = nullptr;      // receives host calls and traces; a recorder, for example
  Trap* pendingTraps = nullptr;      // the open traps that remember a failure
  // Created in advance, because copies need no memory and new failures do.
  const Failure outOfMemory{7, "Out of memory"};
  const Failure outOfStringSpace{14, "Out of string space"};

  quarnex::ConnectionTable ConnectionTable;
  std::int16_t ConnectionCount = 0;
  std::int16_t ClientCount = 0;
  std::int16_t ServerCount = 0;
  std::vector<std::int16_t> ClientLinks;  // ClientSocket number k to IdxQuarn, at k - 1
  std::vector<std::int16_t> ServerLinks;  // ServerSocket and SrvAccept number k to IdxQuarn, at k - 1

  std::int16_t firstWithItems = 0;  // of the list of `linksWithItems`, 0 = it is empty
  std::int16_t lastWithItems = 0;

  MemoryLimits limits;
  std::size_t bytesHeld = 0;  // by all links, as counted last for each

  int steps = 0;  // events and ticks under way: more than one if one is delivered inside another

  std::int16_t MaxTentativi = 0;  // failures that a link tolerates before 109
  bool InUscita = false;          // shutting down, for good

  std::unique_ptr<EventQueue> events;  // of all links; null until the host asks for them
  Moment lastTick;                     // while there are events
  int drains = 0;                      // links that are being drained
  bool draining = false;               // drainAndLeave has been called

  bool LogAperto = false;
  std::uint64_t toldLogBytes = 0;  // missing in the log, as the host knows
  std::string LogPath;             // put unchanged in front of the log file's name

  std::unique_ptr<FrmSock> form;  // made on first use

  // Texts that are built often, kept for their capacity up to `kKeptCapacityMax`. A procedure moves one out
  // while it uses it, so a nested use finds it empty.
  std::string frameStorage;
  std::string traceStorage;
  std::string lineStorage;

  // The log's "hh:mm:ss", formatted once a second.
  Instant stampSecond{-1};
  std::array<char, 8> stamp{};

  std::shared_ptr<void> instances = std::make_shared<char>();  // a share for each `QuarnSocket`

  std::thread::id thread = std::this_thread::get_id();  // all calls must come from this thread
};

}  // namespace quarnex
