#include "engine/diagnostics/log.h"

#include <string>
#include <utility>

#include "engine/records/record_operations.h"
#include "engine/records/text_pieces.h"

namespace quarnex {
namespace {

LocalTime localNow(Library& library) {
  const Instant now = library.services.clock.now();
  return localTime(now, library.services.clock.utcOffset(now));
}

// Formatting the time of day costs more than the rest of the line, so it is done once a second.
std::string_view timeOfDay(Library& library) {
  const Instant now = library.services.clock.now();
  if (now != library.stampSecond) {
    const LocalTime time = localTime(now, library.services.clock.utcOffset(now));
    const std::string text =
        concat(ZeroPadded{time.hour, 2}, ':', ZeroPadded{time.minute, 2}, ':', ZeroPadded{time.second, 2});
    text.copy(library.stamp.data(), library.stamp.size());
    library.stampSecond = now;
  }
  return {library.stamp.data(), library.stamp.size()};
}

}  // namespace

void ApriLog(Library& library) {
  if (library.LogAperto) return;
  const LocalTime now = localNow(library);
  library.services.logFile.create(concat(library.LogPath, "LOGQUARNNET", ZeroPadded{now.day, 2},
                                         ZeroPadded{now.month, 2}, ZeroPadded{now.year, 4},
                                         ZeroPadded{now.hour, 2}, ZeroPadded{now.minute, 2},
                                         ZeroPadded{now.second, 2}, ".txt"));
  library.LogAperto = true;
}

void ChiudiLog(Library& library) {
  if (!library.LogAperto) return;
  library.services.logFile.close();
  library.LogAperto = false;
}

void writeLogLine(Library& library, std::int16_t IdxQuarn, std::string_view testo) {
  std::string line = std::move(library.lineStorage);
  line.clear();
  append(line, ZeroPadded{IdxQuarn, 3});
  line += ' ';
  line += timeOfDay(library);
  line += ' ';
  line += testo;
  line += "\r\n";
  library.services.logFile.write(line);
  clearText(line);
  library.lineStorage = std::move(line);
}

}  // namespace quarnex
