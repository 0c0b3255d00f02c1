// Plays a recording to a fresh engine and tells whether it still does the same.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "engine/records/library.h"
#include "recording/format/plain_model.h"
#include "recording/format/recording_reader.h"
#include "recording/player/mismatch.h"
#include "recording/player/played_engine.h"
#include "recording/player/script.h"
#include "services/services_wrapper.h"

namespace quarnex::recording {

struct PlayResult {
  std::optional<Difference> difference;  // the first one; the rest of the recording was not played
  std::optional<DamagedLine> damage;     // the line that could not be read; everything before it was played
  std::size_t lines = 0;                 // played
  std::size_t steps = 0;                 // host calls, ticks and events
  int links = 0;                         // in the engine's table at the end
  std::int64_t seconds = 0;              // from the first step to the last reading of the clock
};

class Player {
 public:
  /// `wrapper`, if there is one, stands between the engine and its services. Both outlive the player.
  explicit Player(RecordingReader& reader, ServicesWrapper* wrapper = nullptr);

  /// False at the end, at a damaged line and after the first difference.
  bool playing() const { return script_.playing(); }
  /// Plays the next host call, tick or event, with all that is nested in it.
  void playStep() { script_.playStep(); }
  PlayResult result();
  Library& library() { return engine_.library(); }

 private:
  void deliver(const Line& step);

  RecordingReader& reader_;
  PlainModel model_;
  Script script_;
  PlayedEngine engine_;
  std::optional<Instant> start_;
};

/// Plays all that `reader` still has. Nothing outside the process is touched.
PlayResult play(RecordingReader& reader);

}  // namespace quarnex::recording
