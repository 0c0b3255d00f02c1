// Checker: records an engine and reports the first rule it breaks.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "recording/format/line_writer.h"
#include "recording/recorder/recorder.h"
#include "services/services.h"

namespace quarnex::recording {

/// One violation of a rule that must always hold.
struct Finding {
  std::int64_t at = 0;  ///< milliseconds since the beginning of a simulation; 0 in a recording
  int host = 0;         ///< number of the simulated host, from 1; 0 = none in particular
  int link = 0;         ///< index in that host's table; 0 = none in particular
  std::string text;
};

class Checker : public ServicesWrapper {
 public:
  /// The first violation since the engine began. Valid between steps.
  virtual std::optional<Finding> finding() = 0;
};

/// Records an engine and checks nothing.
class NullChecker final : public Checker {
 public:
  explicit NullChecker(std::shared_ptr<Sink> sink) : recorder_(std::move(sink)) {}
  Services wrap(const Services& services) override { return recorder_.wrap(services); }
  void watch(Library& library) override { recorder_.watch(library); }
  std::optional<Finding> finding() override { return std::nullopt; }

 private:
  ServicesRecorder recorder_;
};

/// Makes a checker for a fresh engine and writes that engine's recording to `sink`.
using MakeChecker = std::function<std::unique_ptr<Checker>(std::shared_ptr<Sink> sink)>;

}  // namespace quarnex::recording
