// Interface of objects that watch an engine: they receive host calls, results and every trace text, and
// change nothing.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <variant>

#include "quarnex/failure.h"

namespace quarnex {

struct Method;

/// A parameter or a result of a host method: nothing, Integer, Boolean, String.
using Value = std::variant<std::monostate, std::int16_t, bool, std::string>;

class Observer {
 public:
  virtual ~Observer() = default;
  /// A trace text of link `IdxQuarn` (0 = of no link), even if neither the log nor the link's capture is on.
  virtual void traced(std::int16_t IdxQuarn, std::string_view text) = 0;
  /// A host call begins; it ends with `returned` or `failed`.
  virtual void called(const Method& /*method*/, std::span<const Value> /*parameters*/) {}
  virtual void returned(const Value& /*result*/) {}
  virtual void failed(const Failure& /*failure*/) {}
};

/// Passes everything on to `next`, if it is set. Base of observers that form a chain.
class PassingObserver : public Observer {
 public:
  void traced(std::int16_t IdxQuarn, std::string_view text) override {
    if (next != nullptr) next->traced(IdxQuarn, text);
  }
  void called(const Method& method, std::span<const Value> parameters) override {
    if (next != nullptr) next->called(method, parameters);
  }
  void returned(const Value& result) override {
    if (next != nullptr) next->returned(result);
  }
  void failed(const Failure& failure) override {
    if (next != nullptr) next->failed(failure);
  }

  Observer* next = nullptr;
};

}  // namespace quarnex
