// Records everything that enters and leaves an engine by wrapping its services.
#pragma once

#include <memory>
#include <utility>

#include "recording/format/line_writer.h"
#include "services/observer.h"
#include "services/services.h"

namespace quarnex::recording {

/// Wraps the services of one library and records everything from its first call on: the steps, the outputs,
/// and one answer per read between two outputs.
class ServicesRecorder final : public ServicesWrapper {
 public:
  explicit ServicesRecorder(std::shared_ptr<Sink> sink)
      : lines_(std::make_shared<LineWriter>(std::move(sink))) {}
  explicit ServicesRecorder(std::shared_ptr<LineSink> lines) : lines_(std::move(lines)) {}

  Services wrap(const Services& services) override;
  void watch(Library& library) override;
  /// Observes the library from its first host call on. Call it after `wrap`.
  Observer& observer() { return *observer_; }

 private:
  std::shared_ptr<LineSink> lines_;
  std::shared_ptr<Observer> observer_;  // part of the recorder
};

}  // namespace quarnex::recording
