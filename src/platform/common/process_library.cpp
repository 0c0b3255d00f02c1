// Composes the process's one library on the services of this system, on first use, and runs its loop for
// HostLoop. Records the library if the environment asks for it.
#include "services/process_library.h"

#include <array>
#include <cstdio>
#include <filesystem>
#include <string>
#include <utility>

#include "host/draining.h"
#include "host/engine.h"
#include "platform/common/host_platform.h"
#include "quarnex/failure.h"
#include "quarnex/flight_recorder.h"
#include "quarnex/host_loop.h"
#include "services/background_writer.h"

namespace quarnex {
namespace {

// Constructed before the process's library, so destroyed after it.
struct ProcessPreparation {
  std::unique_ptr<ServicesWrapper> wrapper;
  bool composed = false;
};

ProcessPreparation& preparation() {
  static ProcessPreparation only;
  return only;
}

constexpr const char* kRecordingFolder = "QUARNEX_RECORD_DIR";
constexpr std::int32_t kFileExists = 58;

// Of the `attempt`-th file that this process tries to create: program, time (UTC) and process.
std::string recordingName(WallClock& clock, int attempt) {
  const LocalTime utc = localTime({clock.moment().systemSecond}, 0);
  std::array<char, 80> stamp{};
  std::snprintf(stamp.data(), stamp.size(), "-%04d%02d%02dT%02d%02d%02dZ-%lu", static_cast<int>(utc.year),
                utc.month, utc.day, utc.hour, utc.minute, utc.second, processNumber());
  const std::string again = attempt > 1 ? '-' + std::to_string(attempt) : "";
  return programName() + stamp.data() + again + ".jsonl.gz";
}

// Recordings of earlier processes are kept: containers use the same process number again and again.
void recordInto(const std::filesystem::path& folder, WallClock& clock) {
  RecordingSettings settings;
  settings.mustBeNew = true;
  for (int attempt = 1;; ++attempt) {
    try {
      return recordFlight(folder / recordingName(clock, attempt), settings);
    } catch (const Failure& failure) {
      if (failure.number() != kFileExists) throw;
    }
  }
}

// A recording that cannot begin does not keep the host from its work. A program with the rights of another
// user does not write where its caller says.
void recordIfAsked(WallClock& clock) {
  const std::filesystem::path folder = trustedFolder(kRecordingFolder);
  if (folder.empty()) return;
  try {
    recordInto(folder, clock);
  } catch (const Failure& failure) {
    std::fprintf(stderr, "quarnex: cannot record into the folder \"%s\" (%s): %s (%d)\n",
                 folder.string().c_str(), kRecordingFolder, failure.what(),
                 static_cast<int>(failure.number()));
  }
}

struct ComposedProcess {
  ComposedProcess() {
    ProcessPreparation& prepared = preparation();
    prepared.composed = true;
    if (prepared.wrapper) prepared.wrapper->watch(library);
    platform->afterTicks([this] { serviceDrains(library); });
  }
  // The log and the recording wait for a hanging disk at the same time.
  ~ComposedProcess() {
    if (const auto& wrapper = preparation().wrapper) wrapper->end();
    TextFile& log = platform->services().logFile;
    log.close();
    printLosses("log", log.losses(), library.toldLogBytes);
  }
  ComposedProcess(const ComposedProcess&) = delete;
  ComposedProcess& operator=(const ComposedProcess&) = delete;

  static Services wrapped(const Services& services) {
    const auto& wrapper = preparation().wrapper;
    if (!wrapper) recordIfAsked(services.clock);
    return wrapper ? wrapper->wrap(services) : services;
  }

  std::unique_ptr<HostPlatform> platform = makeHostPlatform();
  Engine library{wrapped(platform->services())};
};

std::unique_ptr<ComposedProcess>& processSlot() {
  preparation();
  static std::unique_ptr<ComposedProcess> only;
  return only;
}

ComposedProcess& process() {
  std::unique_ptr<ComposedProcess>& slot = processSlot();
  if (!slot) slot = std::make_unique<ComposedProcess>();
  return *slot;
}

ProcessStandIn*& standIn() {
  static ProcessStandIn* only = nullptr;
  return only;
}

}  // namespace

bool replaceProcess(ProcessStandIn* other) {
  if (other != nullptr && standIn() != nullptr) return false;
  standIn() = other;
  return true;
}

Library& processLibrary() {
  if (standIn() != nullptr) return standIn()->library();
  return process().library;
}

Library* composedLibrary() {
  if (standIn() != nullptr) return &standIn()->library();
  return processSlot() ? &processSlot()->library : nullptr;
}

void endProcessLibrary() {
  if (standIn() != nullptr || !processSlot()) return;
  processSlot().reset();
  preparation() = {};
}

void wrapProcessServices(const std::function<std::unique_ptr<ServicesWrapper>()>& make) {
  if (standIn() != nullptr) return;
  ProcessPreparation& prepared = preparation();
  if (prepared.composed || prepared.wrapper) throw Failure(5, "Invalid procedure call or argument");
  prepared.wrapper = make();
}

void HostLoop::turn(std::chrono::milliseconds maxWait) {
  standIn() != nullptr ? standIn()->turn(maxWait) : process().platform->turn(maxWait);
  serviceDrains(processLibrary());
}

std::chrono::milliseconds HostLoop::nextDeadline() const {
  return standIn() != nullptr ? std::chrono::milliseconds(0) : process().platform->nextDeadline();
}

HostPlatform* processPlatform() {
  return standIn() != nullptr ? nullptr : process().platform.get();
}

}  // namespace quarnex
