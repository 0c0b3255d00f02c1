// Tests the text file with invalid names, a file size limit, links and full files, and the offset of local
// time across daylight saving changes and a change of the time zone.
#include "platform/common/log_text_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>

#include "platform/posix/posix_time.h"
#include "support/failure_of.h"
#include "support/resource_limit.h"
#include "support/test_files.h"

namespace quarnex {
namespace {

class LogTextFileTest : public testing::Test {
 protected:
  void writeEach(std::initializer_list<const char*> lines) {
    for (const char* line : lines) {
      file.write(line);
      EXPECT_TRUE(file.flush(std::chrono::seconds(20)));
    }
  }

  TemporaryFolder folder;
  std::string name = (folder.path() / "log.txt").string();
  LogTextFile file;
};

TEST_F(LogTextFileTest, CreatingAnImpossibleNameFailsWithTheMatchingNumber) {
  const struct {
    std::string name;
    int failure;
  } rows[] = {{"", 76}, {"/dev/null/x", 76}, {"/sys/quarnex", 70}, {"/", 75}, {std::string(300, 'n'), 75}};
  for (const auto& row : rows) EXPECT_EQ(failureOf([&] { file.create(row.name); }), row.failure) << row.name;
}

TEST_F(LogTextFileTest, ALineBeyondTheSizeLimitIsDroppedWholeCountedAndMarked) {
  file.create(name);
  {
    const FileSizeLimit full(12);
    writeEach({"one\r\n", "in two\r\nparts\r\n", "two\r\n"});
    EXPECT_EQ(contentOf(name), "one\r\n");
  }
  writeEach({"three\r\n"});
  EXPECT_EQ(contentOf(name), "one\r\n--- 3 lines (20 bytes) are missing here: the disk failed\r\nthree\r\n");
  file.create(name);
  EXPECT_EQ(file.losses().lines, 3U);
  EXPECT_EQ(file.losses().bytes, 20U);
  EXPECT_EQ(file.losses().lastError, 75);
}

TEST_F(LogTextFileTest, FilesArePrivateAndNeverReachedThroughALink) {
  const std::string target = (folder.path() / "target").string();
  for (const bool groupMayRead : {false, true}) {
    for (const bool exists : {false, true}) {
      std::filesystem::remove(name);
      if (exists) std::ofstream(name) << "readable by everybody";
      file.configure({.groupMayRead = groupMayRead});
      file.create(name);
      struct stat made {};
      ASSERT_EQ(::stat(name.c_str(), &made), 0);
      EXPECT_EQ(made.st_mode & 0777U, groupMayRead ? 0640U : 0600U);
      EXPECT_EQ(made.st_size, 0);
    }
  }
  std::ofstream(target) << "precious";
  const std::string link = (folder.path() / "link").string(), pipe = (folder.path() / "pipe").string();
  ASSERT_EQ(::symlink(target.c_str(), link.c_str()) | ::mkfifo(pipe.c_str(), 0600), 0);
  for (const std::string& other : {link, pipe, std::string("/dev/null")})
    EXPECT_EQ(failureOf([&] { file.create(other); }), 75) << other;
  EXPECT_EQ(contentOf(target), "precious");
}

// Two files of one log differ in the second of their names, so the second rotation waits for the next second.
TEST_F(LogTextFileTest, AFullFileIsFollowedByOneOfTheSameForm) {
  const std::string first = (folder.path() / "LOGQUARNNET01012020000000.txt").string();
  for (const int kept : {0, 1}) {
    file.configure({.bytesMax = 10, .filesMax = kept});
    file.create(first);
    writeEach({"one\r\n", "two\r\n", "three\r\n"});
    file.close();
    int files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
      EXPECT_EQ(entry.path().filename().string().size(), std::string("LOGQUARNNETddmmyyyyhhmmss.txt").size());
      ++files;
      std::filesystem::remove(entry.path());
    }
    EXPECT_GE(files, kept == 1 ? 1 : 2);
    EXPECT_LE(files, kept == 1 ? 1 : 3);
  }
}

TEST_F(LogTextFileTest, AFileWithoutADateInItsNameIsFollowedByNone) {
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(folder.path());
  for (const std::string path :
       {"log", "log.txt", "LOG01012020000000.log", "-1012020000000.txt", "x1012020000000.txt"}) {
    file.configure({.bytesMax = 10});
    file.create(path);
    writeEach({"\n", "two lines\r\n", "three lines\r\n"});
    EXPECT_EQ(file.losses().bytes, 0U);
    file.close();
    EXPECT_EQ(contentOf(path), "\ntwo lines\r\nthree lines\r\n");
  }
  std::filesystem::current_path(before);
}

TEST(ForwardClock, StaysForASecondThatTheSystemShowsTwice) {
  ForwardClock clock;
  const struct {
    std::int64_t system, reading, ahead;
  } rows[] = {{100, 100, 0}, {99, 100, 0}, {100, 100, 0}, {98, 100, 2}, {99, 101, 2}};
  for (const auto& row : rows) {
    EXPECT_EQ(clock.follow(row.system).second, row.reading) << row.system;
    EXPECT_EQ(clock.ahead(), row.ahead) << row.system;
  }
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
  PosixClock clock{secondOfSystem};
  EXPECT_LE(clock.now().second - std::time(nullptr), 1);
  for (const auto& row : rows) {
    ::setenv("TZ", row.zone, 1);
    EXPECT_EQ(clock.utcOffset({row.second}), row.offset) << row.zone << ' ' << row.second;
  }
  ::unsetenv("TZ");
  ::tzset();
}

}  // namespace
}  // namespace quarnex
