// Where the lines of a recording under way go: written out as text, or only looked at.
#pragma once

#include <cstdint>

#include "recording/format/line.h"

namespace quarnex::recording {

class Lines {
 public:
  virtual ~Lines() = default;
  /// The first line.
  virtual void begin(std::int32_t utcOffset) = 0;
  virtual void take(const LineParts& line) = 0;
  /// No step is under way: what is held back may go on.
  virtual void pause() = 0;
};

}  // namespace quarnex::recording
