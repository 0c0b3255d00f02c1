// Tests the background writer on a disk that hangs or is truncated, and with files that are full.
#include "services/background_writer.h"

#include <gtest/gtest.h>

#include <deque>
#include <memory>
#include <mutex>
#include <string>

namespace quarnex {
namespace {

using namespace std::chrono_literals;

constexpr auto kNeverReached = 20s;

// Files in memory, on a disk that can hang. Used by the thread, and by the test while that is idle.
struct TestDisk {
  struct File : Storage {
    explicit File(TestDisk& on) : disk(on), text(on.texts.emplace_back()) { disk.change(disk.open, true); }
    ~File() override { disk.change(disk.open, false); }
    std::int16_t writeAt(std::uintmax_t position, std::string_view bytes) override {
      const std::lock_guard lock(disk.monitor);
      disk.used = true;
      disk.monitor.notifyAll();
      disk.monitor.wait([&] { return !disk.hanging; });
      const auto place = static_cast<std::size_t>(position);
      text.resize(std::max(text.size(), place));  // a hole, as on a real disk
      text.replace(place, bytes.size(), bytes);
      return 0;
    }
    void cutTo(std::uintmax_t) override {}
    std::uintmax_t size() override { return text.size(); }
    TestDisk& disk;
    std::string& text;
  };
  std::unique_ptr<Storage> create() { return std::make_unique<File>(*this); }
  void change(bool& what, bool now) {
    const std::lock_guard lock(monitor);
    what = now;
    monitor.notifyAll();
  }
  bool becomes(const bool& what, bool expected) {
    const std::lock_guard lock(monitor);
    return monitor.waitUntil(steadyNow() + kNeverReached, [&] { return what == expected; });
  }

  Monitor monitor;  // guards the next line
  bool hanging = false, open = false, used = false;
  std::deque<std::string> texts;  // of its files
};

class BackgroundWriterTest : public testing::Test {
 protected:
  void SetUp() override {
    plan.mark = [](const WriteLosses& missing) {
      return '<' + std::to_string(missing.lines) + ' ' + std::to_string(missing.bytes) + ' ' +
             std::to_string(missing.lastError) + ">\n";
    };
    plan.waitingBytesMax = 12;
  }
  BackgroundWriter& writer() {
    if (!writer_) writer_ = std::make_unique<BackgroundWriter>(disk.create(), plan);
    return *writer_;
  }
  void writeEach(std::initializer_list<const char*> lines) {
    for (const char* line : lines) {
      writer().write(line);
      EXPECT_TRUE(writer().flush(kNeverReached));
    }
  }
  std::string end() {
    writer_.reset();
    return disk.texts.at(0);
  }

  TestDisk disk;  // outlives the writer
  WriterPlan plan;
  std::unique_ptr<BackgroundWriter> writer_;
};

TEST_F(BackgroundWriterTest, ADiskThatHangsDelaysNobodyAndWhatWaitsCountsAsMissing) {
  disk.change(disk.hanging, true);
  writer().write("one\n");
  EXPECT_TRUE(disk.becomes(disk.used, true));
  EXPECT_FALSE(writer().flush(10ms));
  EXPECT_EQ(writer().losses().bytes, 4U);
  for (const char* line : {"two\n", "three\n", "four\n", "five\n"}) writer().write(line);
  EXPECT_EQ(writer().losses().lines, 5U);
  EXPECT_EQ(writer().losses().bytes, 24U);
  EXPECT_EQ(writer().losses().lastError, 0);
  EXPECT_FALSE(writer().flushPatiently());
  disk.change(disk.hanging, false);
  EXPECT_TRUE(writer().flush(kNeverReached));
  EXPECT_EQ(writer().losses().lines, 2U);
  writer().write("six\n");
  EXPECT_EQ(end(), "one\ntwo\nthree\n<2 10 0>\nsix\n");
}

TEST_F(BackgroundWriterTest, LeavesAFileThatHangsToItsThread) {
  disk.change(disk.hanging, true);
  writer().write("late\n");
  EXPECT_FALSE(writer().flush(10ms));
  const auto latest = std::chrono::steady_clock::now() + kNeverReached;
  writer().end();
  EXPECT_FALSE(writer().flush(2 * kNeverReached));
  EXPECT_LT(std::chrono::steady_clock::now(), latest);
  writer_.reset();
  EXPECT_TRUE(disk.open);
  disk.change(disk.hanging, false);
  EXPECT_TRUE(disk.becomes(disk.open, false));
  EXPECT_EQ(disk.texts[0], "late\n");
}

TEST_F(BackgroundWriterTest, LeavesNoHoleInAFileThatAnotherProgramHasTruncated) {
  plan.pause = 1h;  // a flush does not wait for it
  writer().write("one\n");
  EXPECT_TRUE(disk.becomes(disk.used, true));
  writeEach({"more\n"});
  disk.texts[0].clear();
  writer().write("two\n");
  EXPECT_EQ(end(), "two\n");
}

TEST_F(BackgroundWriterTest, WritesALineThatIsLongerThanAPieceAsAWhole) {
  plan.waitingBytesMax = 200'000;
  const std::string line = std::string(100'000, 'x') + '\n';
  writer().write(line + "short\n");
  EXPECT_EQ(end(), line + "short\n");
}

TEST_F(BackgroundWriterTest, BeginsTheNextFileWhereOneIsFullIfThereIsOne) {
  plan.fileBytesMax = 10;
  int begun = 0;
  plan.nextFile = [&] { return ++begun == 2 ? nullptr : disk.create(); };
  writeEach({"one\n", "two\n", "three\n", "four\n", "five\n", "six\n"});
  EXPECT_FALSE(writer().losses().any());
  EXPECT_EQ(end(), "one\ntwo\n");
  EXPECT_EQ(disk.texts.at(1), "three\nfour\n");
  EXPECT_EQ(disk.texts.at(2), "five\nsix\n");
}

TEST_F(BackgroundWriterTest, WritesNothingBehindTheLastLineOfAFullFile) {
  plan.fileBytesMax = 12;
  plan.lastLine = "end\n";
  writeEach({"one\n", "two\n", "three\n", "x\n"});
  EXPECT_TRUE(writer().full());
  EXPECT_EQ(end(), "one\ntwo\nend\n");
}

}  // namespace
}  // namespace quarnex
