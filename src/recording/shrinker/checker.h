// Judge: a recorder that may find that something does not hold.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "recording/format/sink.h"
#include "recording/recorder/services_recorder.h"
#include "services/services_wrapper.h"

namespace quarnex::recording {

/// What an engine did that it must not, in words, and the link that it concerns; 0 = none in particular.
struct Finding {
  std::string text;
  std::int16_t link = 0;
};

class Judge : public ServicesWrapper {
 public:
  /// The first thing found since the engine began, or one with no text. Asked between steps.
  virtual Finding finding() = 0;
};

/// Finds nothing.
class PlainJudge final : public Judge {
 public:
  explicit PlainJudge(std::shared_ptr<Sink> sink) : recorder_(std::move(sink)) {}
  Services wrap(const Services& services) override { return recorder_.wrap(services); }
  void watch(Library& library) override { recorder_.watch(library); }
  Finding finding() override { return {}; }

 private:
  ServicesRecorder recorder_;
};

/// Makes one for a fresh engine, whose recording goes to `sink`.
using MakeJudge = std::function<std::unique_ptr<Judge>(std::shared_ptr<Sink> sink)>;

}  // namespace quarnex::recording
