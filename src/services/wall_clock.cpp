#include "services/wall_clock.h"

#include <chrono>

namespace quarnex {

LocalTime localTime(Instant instant, std::int32_t utcOffset) {
  using namespace std::chrono;
  const sys_seconds moment{seconds{instant.second + utcOffset}};
  const sys_days day = floor<days>(moment);
  const year_month_day date{day};
  const hh_mm_ss time{moment - day};
  return {static_cast<int>(date.year()),
          static_cast<int>(static_cast<unsigned>(date.month())),
          static_cast<int>(static_cast<unsigned>(date.day())),
          static_cast<int>(time.hours().count()),
          static_cast<int>(time.minutes().count()),
          static_cast<int>(time.seconds().count())};
}

}  // namespace quarnex
