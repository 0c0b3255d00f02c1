// Composes the process's one library on the POSIX services, on first use, and runs its loop for HostLoop.
// Records the library if the environment asks for it.
#include "services/process_library.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <string>
#include <utility>

#include "host/draining.h"
#include "host/engine.h"
#include "platform/posix/descriptor.h"
#include "platform/posix/posix_platform.h"
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
std::string recordingName(int attempt) {
  const std::time_t now = std::time(nullptr);
  std::tm utc{};
  ::gmtime_r(&now, &utc);
  char stamp[32];
  std::strftime(stamp, sizeof stamp, "-%Y%m%dT%H%M%SZ-", &utc);
  const std::string again = attempt > 1 ? '-' + std::to_string(attempt) : "";
  return ::program_invocation_short_name + (stamp + std::to_string(::getpid())) + again + ".jsonl.gz";
}

// Recordings of earlier processes are kept: containers use the same process number again and again.
void recordInto(const std::filesystem::path& folder) {
  RecordingSettings settings;
  settings.mustBeNew = true;
  for (int attempt = 1;; ++attempt) {
    try {
      return recordFlight(folder / recordingName(attempt), settings);
    } catch (const Failure& failure) {
      if (failure.number() != kFileExists) throw;
    }
  }
}

// A recording that cannot begin does not keep the host from its work. A program with the rights of another
// user does not write where its caller says.
void recordIfAsked() {
  const char* folder = ::secure_getenv(kRecordingFolder);
  if (folder == nullptr || *folder == '\0') return;
  try {
    recordInto(folder);
  } catch (const Failure& failure) {
    std::fprintf(stderr, "quarnex: cannot record into the folder \"%s\" (%s): %s (%d)\n", folder,
                 kRecordingFolder, failure.what(), static_cast<int>(failure.number()));
  }
}

struct ComposedProcess {
  ComposedProcess() {
    ProcessPreparation& prepared = preparation();
    prepared.composed = true;
    if (prepared.wrapper) prepared.wrapper->watch(library);
  }
  // The log and the recording wait for a hanging disk at the same time.
  ~ComposedProcess() {
    if (const auto& wrapper = preparation().wrapper) wrapper->end();
    TextFile& log = platform.services().logFile;
    log.close();
    printLosses("log", log.losses(), library.toldLogBytes);
  }
  ComposedProcess(const ComposedProcess&) = delete;
  ComposedProcess& operator=(const ComposedProcess&) = delete;

  static Services wrapped(const Services& services) {
    const auto& wrapper = preparation().wrapper;
    if (!wrapper) recordIfAsked();
    return wrapper ? wrapper->wrap(services) : services;
  }

  PosixPlatform platform;
  Engine library{wrapped(platform.services())};
};

ComposedProcess& process() {
  static ComposedProcess only;
  return only;
}

ProcessStandIn*& standIn() {
  static ProcessStandIn* only = nullptr;
  return only;
}

// In virtual time the next turn always has something to do.
int alwaysReadable() {
  static const Descriptor only(eventfd(1, EFD_CLOEXEC));
  return only.get();
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

void wrapProcessServices(const std::function<std::unique_ptr<ServicesWrapper>()>& make) {
  if (standIn() != nullptr) return;
  ProcessPreparation& prepared = preparation();
  if (prepared.composed || prepared.wrapper) throw Failure(5, "Invalid procedure call or argument");
  prepared.wrapper = make();
}

void HostLoop::turn(std::chrono::milliseconds maxWait) {
  standIn() != nullptr ? standIn()->turn(maxWait) : process().platform.turn(maxWait);
  serviceDrains(processLibrary());
}

std::chrono::milliseconds HostLoop::nextDeadline() const {
  return standIn() != nullptr ? std::chrono::milliseconds(0) : process().platform.nextDeadline();
}

int HostLoop::fd() const {
  return standIn() != nullptr ? alwaysReadable() : process().platform.fd();
}

}  // namespace quarnex
