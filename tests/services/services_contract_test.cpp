// Tests the timer, the wall clock and the text file of every adapter and wrapper.
#include "services/services_contract.h"

namespace quarnex {

TEST_P(ServicesContract, TheTimerTicksUntilItIsStopped) {
  EXPECT_EQ(timer().period(), kShortTickMilliseconds);
  atTick = [&] { timer().setPeriod(0); };
  runTicks(1);
  EXPECT_EQ(timer().period(), 0);
  const int stopped = ticks;
  join();
  EXPECT_EQ(ticks, stopped);
  atTick = nullptr;
  timer().setPeriod(kShortTickMilliseconds + 1);
  EXPECT_EQ(failureOf([&] { timer().setPeriod(-1); }), 5);
  EXPECT_EQ(timer().period(), kShortTickMilliseconds + 1);
  runTicks(3);
  timer().setEvents(nullptr);
  harness->stall(std::chrono::milliseconds(2 * kShortTickMilliseconds));
}

TEST_P(ServicesContract, ALateLoopGetsOneTick) {
  runTicks(1);
  const int before = ticks;
  harness->stall(std::chrono::milliseconds(20 * kShortTickMilliseconds));
  EXPECT_EQ(ticks, before + 1);
  runTicks(2);
}

TEST_P(ServicesContract, TheClockNeverGoesBack) {
  constexpr std::int64_t kYear2020 = 1'577'836'800, kYear2100 = 4'102'444'800;
  WallClock& clock = harness->services().clock;
  Instant last = clock.now();
  EXPECT_GT(last.second, kYear2020);
  EXPECT_LT(last.second, kYear2100);
  atTick = [&] {
    const Instant now = clock.now();
    EXPECT_GE(now, last);
    last = now;
  };
  runTicks(10);
}

// What people read follows the system's clock; what deadlines read only goes on. A second may pass during
// each row, and a reading may stay for a second.
TEST_P(ServicesContract, ASystemClockThatIsSetBackMovesOnlyLocalTime) {
  WallClock& clock = harness->services().clock;
  const auto local = [&](Instant instant) { return instant.second + clock.utcOffset(instant); };
  const struct {
    int step, forward, local;
  } rows[] = {{-3600, 0, -3600}, {-86'400, 0, -86'400}, {-1, 0, 0},   {7200, 7200, 7200},
              {0, 0, 0},         {-3, 0, -3},           {60, 60, 60}, {-300'000'000, 0, -300'000'000}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.step);
    const Instant before = clock.now();
    const std::int64_t localBefore = local(before);
    if (!harness->setSystemClock(std::chrono::seconds(row.step))) return;
    runTicks(1);
    const Instant after = clock.now();
    EXPECT_GE(after, before);
    EXPECT_NEAR(static_cast<double>(after.second - before.second), row.forward, 1);
    EXPECT_NEAR(static_cast<double>(local(after) - localBefore), row.local, 1);
  }
}

TEST_P(ServicesContract, ATextFileKeepsTheBytesOfItsLinesUnlessItCannotBeCreated) {
  TextFile& file = harness->services().logFile;
  const std::string name = harness->folder() + "/log.txt";
  const std::string bytes("\xFF\0 bytes as they are\r\n", 22);
  EXPECT_EQ(failureOf([&] { file.create(harness->folder() + "/missing/log.txt"); }), 76);
  file.write("to nowhere\r\n");
  file.create(name);
  file.write(bytes);
  EXPECT_TRUE(file.flush(std::chrono::seconds(20)));
  EXPECT_EQ(harness->contentOf(name), bytes);
  file.write("two\r\n");
  for (int i = 0; i < 2; ++i) file.close();
  EXPECT_EQ(harness->contentOf(name), bytes + "two\r\n");
  file.write("to nowhere\r\n");
  file.create(name);
  EXPECT_EQ(harness->contentOf(name), "");
  EXPECT_EQ(failureOf([&] { file.create(std::string("a\0b", 3)); }), 52);
  file.close();
}

}  // namespace quarnex
