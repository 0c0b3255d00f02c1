#include "recording/player/player.h"

namespace quarnex::recording {

Player::Player(RecordingReader& reader, ServicesWrapper* wrapper)
    : reader_(reader),
      model_(reader.utcOffset()),
      replay_(reader, model_, [this](const Line& step) { deliver(step); }),
      engine_(replay_, model_, wrapper) {}

ReplayResult Player::result() {
  ReplayResult result;
  result.mismatch = replay_.mismatch();
  result.damage = replay_.damage();
  result.lines = reader_.number() - (running() || result.mismatch || result.damage ? 1 : 0);
  result.steps = replay_.steps();
  result.links = library().ConnectionCount;
  result.seconds = start_ ? model_.time.second - start_->second : 0;
  return result;
}

void Player::deliver(const Line& step) {
  if (!start_) start_ = stepStartOf(step)->at;
  engine_.deliver(step);
}

ReplayResult replay(RecordingReader& reader) {
  Player player(reader);
  while (player.running()) player.replayStep();
  return player.result();
}

}  // namespace quarnex::recording
