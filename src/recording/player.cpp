#include "recording/player.h"

#include "component/library.h"
#include "quarnex/quarn_socket.h"
#include "recording/player_services.h"

namespace quarnex::recording {
namespace {

class Player {
 public:
  explicit Player(RecordingReader& reader)
      : reader_(reader),
        model_(reader.utcOffset()),
        script_(reader, model_, [this](const Line& step) { deliver(step); }) {
    library_.observer = &traces_;
  }

  PlayResult play();

 private:
  void deliver(const Line& step);
  void call(const Line& step);

  RecordingReader& reader_;
  PlainModel model_;
  Script script_;
  PlayedSockets sockets_{script_, model_};
  PlayedTimer timer_{script_, model_};
  PlayedClock clock_{model_};
  PlayedLog log_{script_};
  PlayedTraces traces_{script_};
  Library library_{{sockets_, timer_, clock_, log_}};
  QuarnSocket quarn_{library_};
  std::optional<Instant> start_;
};

PlayResult Player::play() {
  while (script_.playing()) script_.playStep();
  PlayResult result;
  result.difference = script_.difference();
  result.damage = script_.damage();
  result.lines = reader_.number() - (result.difference || result.damage ? 1 : 0);
  result.steps = script_.steps();
  result.links = library_.ConnectionCount;
  result.seconds = start_ ? model_.now.second - start_->second : 0;
  return result;
}

void Player::deliver(const Line& step) {
  if (!start_) start_ = step.at;
  switch (step.kind) {
    case LineKind::Tick:
      return timer_.tick();
    case LineKind::Event:
      return sockets_.deliver(step);
    default:
      return call(step);
  }
}

void Player::call(const Line& step) {
  Value result;
  try {
    result = step.method->call(quarn_, step.values);
  } catch (const Failure& failure) {
    return script_.failed(failure);
  }
  script_.returned(result);
}

}  // namespace

PlayResult play(RecordingReader& reader) {
  return Player(reader).play();
}

}  // namespace quarnex::recording
