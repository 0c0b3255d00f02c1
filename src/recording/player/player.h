// Replays a recording to a fresh engine and compares all that the engine does.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "engine/records/library.h"
#include "recording/format/recording_reader.h"
#include "recording/format/service_model.h"
#include "recording/player/mismatch.h"
#include "recording/player/replayed_engine.h"
#include "recording/player/strict_replay.h"
#include "services/services.h"

namespace quarnex::recording {

struct ReplayResult {
  std::optional<Mismatch> mismatch;   // the first one; the replay ended there
  std::optional<DamagedLine> damage;  // the first damaged line; the replay ended there
  std::size_t lines = 0;              // replayed
  std::size_t steps = 0;              // host calls, ticks and events
  int links = 0;                      // in the engine's table at the end
  std::int64_t seconds = 0;           // from the first step to the last reading of the clock
};

class Player {
 public:
  /// `wrapper`, if given, stands between the engine and its services. Both arguments outlive the player.
  explicit Player(RecordingReader& reader, ServicesWrapper* wrapper = nullptr);

  /// False at the end, at a damaged line and after the first mismatch.
  bool running() const { return replay_.running(); }
  /// Replays the next host call, tick or event, with all steps nested in it.
  void replayStep() { replay_.replayStep(); }
  ReplayResult result();
  Library& library() { return engine_.library(); }

 private:
  void deliver(const Line& step);

  RecordingReader& reader_;
  ServiceModel model_;
  StrictReplay replay_;
  ReplayedEngine engine_;
  std::optional<Instant> start_;
};

/// Replays the rest of the recording. Uses no file, socket or clock.
ReplayResult replay(RecordingReader& reader);

}  // namespace quarnex::recording
