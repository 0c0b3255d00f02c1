// Tests the text file with invalid names, a file size limit and a full device, and the offset of local time
// across daylight saving changes and a change of the time zone.
#include "platform/posix/posix_text_file.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "platform/posix/posix_time.h"
#include "services/services_contract.h"
#include "support/test_files.h"

namespace quarnex {
namespace {

class PosixTextFileTest : public testing::Test {
 protected:
  TemporaryFolder folder;
  std::string name = (folder.path() / "log.txt").string();
  PosixTextFile file;
};

TEST_F(PosixTextFileTest, CreatingAnImpossibleNameFailsWithTheMatchingNumber) {
  const struct {
    std::string name;
    int failure;
  } rows[] = {{std::string("a\0b", 3), 52}, {"", 76},  {"/no/such/folder/x", 76},  {"/dev/null/x", 76},
              {"/sys/quarnex", 70},         {"/", 75}, {std::string(300, 'n'), 75}};
  for (const auto& row : rows) {
    EXPECT_EQ(failureOf([&] { file.create(row.name); }), row.failure) << row.name;
    file.write("to nowhere\r\n");
    file.close();
  }
}

TEST_F(PosixTextFileTest, ALineBeyondTheSizeLimitIsDroppedWholeAndLaterLinesAreWritten) {
  file.create(name);
  {
    const FileSizeLimit full(12);
    for (const char* line : {"one\r\n", "in two\r\nparts\r\n", "two\r\n", "three\r\n", "4\r\n"})
      file.write(line);
    file.flush();
    EXPECT_EQ(contentOf(name), "one\r\ntwo\r\n");
  }
  file.write("five\r\n");
  file.flush();
  EXPECT_EQ(contentOf(name), "one\r\ntwo\r\nfive\r\n");
}

TEST_F(PosixTextFileTest, WritingToAFullDeviceRaisesNoFailure) {
  file.create("/dev/full");
  for (int i = 0; i < 5000; ++i) file.write("a line that goes nowhere\r\n");
  file.close();
}

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
  PosixClock clock{secondOfSystem};
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
