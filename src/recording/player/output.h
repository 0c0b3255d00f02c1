// What an engine did, as it is compared with a recording and written like a line of one.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "quarnex/failure.h"
#include "recording/format/line.h"

namespace quarnex::recording {

/// A trace text.
struct Traced {
  std::int16_t link;
  std::string_view text;
};

/// One call of a service; `number` or `text` is the argument of an operation that has one.
struct Performed {
  Operation operation;
  SocketId socket{};
  std::int32_t number = 0;
  std::string_view text{};
};

bool matches(const Line& line, const Traced& output);
bool matches(const Line& line, const Performed& output);
bool matches(const Line& line, const Value& result);
bool matches(const Line& line, const Failure& failure);

std::string lineOf(const Traced& output);
std::string lineOf(const Performed& output);
std::string lineOf(const Value& result);
std::string lineOf(const Failure& failure);

}  // namespace quarnex::recording
