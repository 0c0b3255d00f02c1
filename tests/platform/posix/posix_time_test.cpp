// Tests the offset of local time across daylight saving changes and a change of the time zone.
#include "platform/posix/posix_time.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

namespace quarnex {
namespace {

TEST(PosixClock, OffsetChangesInTheExactSecondThatTheZoneDefines) {
  constexpr std::int64_t kSpring = 1774746000;  // 2026-03-29 01:00:00 UTC
  constexpr std::int64_t kAutumn = 1792890000;  // 2026-10-25 01:00:00 UTC
  const char* zone = "CET-1CEST,M3.5.0,M10.5.0/3";
  const struct {
    const char* zone;
    std::int64_t second;
    std::int32_t offset;
  } rows[] = {{zone, kSpring - 1, 3600}, {zone, kSpring, 7200},       {zone, kAutumn - 1, 7200},
              {zone, kAutumn, 3600},     {zone, kAutumn + 899, 3600}, {"NPT-5:45", kSpring, 20700},
              {"BRT3", kSpring, 20700},  {"BRT3", kAutumn, -10800},   {"UTC0", -1, 0},
              {zone, INT64_MAX / 2, 0}};
  const char* before = std::getenv("TZ");
  const std::string restored = before == nullptr ? "" : before;
  PosixClock clock;
  EXPECT_LE(clock.now().second - std::time(nullptr), 1);
  for (const auto& row : rows) {
    ::setenv("TZ", row.zone, 1);
    EXPECT_EQ(clock.utcOffset({row.second}), row.offset) << row.zone << ' ' << row.second;
  }
  before == nullptr ? ::unsetenv("TZ") : ::setenv("TZ", restored.c_str(), 1);
  ::tzset();
}

}  // namespace
}  // namespace quarnex
