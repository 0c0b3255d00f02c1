// Tests that a file that accepts only a part never delays the recorder, is marked where lines are missing,
// and can be replayed up to the first mark.
#include "recording/recorder/file_sink.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <utility>

#include "recording/player/player.h"
#include "support/failure_of.h"
#include "support/resource_limit.h"
#include "support/test_files.h"

namespace quarnex::recording {
namespace {

const std::string kHeader = "{\"quarnex\":\"recording\",\"version\":1,\"utc_offset\":0}\n";
const std::string kTick = "{\"at\":1700000000,\"tick\":true}\n";
// A disk takes or refuses 64 KB at once. Smaller writes could fit behind the first mark and leave no room for
// the next one.
const std::string kTicks = [] {
  std::string ticks;
  while (ticks.size() + kTick.size() <= std::size_t{64} << 10) ticks += kTick;
  return ticks;
}();
constexpr std::size_t kWrites = 45;
constexpr std::size_t kWritesTooMany = 4;  // for the disk, but not for the queue
constexpr std::size_t kBytesMax = 300'000;
const std::size_t kDiskBytes = kHeader.size() + 3 * kTicks.size() - 1;

class FileSinkTest : public testing::Test {
 protected:
  void begin() {
    sink = std::make_unique<FileSink>(file, RecordingSettings{}, kBytesMax);
    sink->write(kHeader);
    EXPECT_TRUE(sink->writer().flush(std::chrono::minutes(1)));
  }
  void end() {
    EXPECT_TRUE(sink->writer().flush(std::chrono::minutes(1)));
    sink.reset();
  }
  // The disk is full before the queue is, so that one mark stands for all that is missing.
  void writeTicks() {
    for (std::size_t i = 0; i < kWrites; ++i) {
      while (i == kWritesTooMany && !sink->writer().losses().any())
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
      sink->write(kTicks);
    }
  }
  TemporaryFolder folder;
  std::filesystem::path file = folder.path() / "recording.jsonl";
  std::unique_ptr<FileSink> sink;
};

// Expects that the lines present and the bytes marked as missing add up to `written`, and that the text can
// be replayed up to the first mark.
void expectMarked(const std::string& text, std::size_t written) {
  const std::string mark = "{\"missing\":";
  std::size_t bytes = 0;
  std::istringstream lines(text), recording(text);
  for (std::string line; std::getline(lines, line);)
    bytes += line.starts_with(mark) ? std::stoul(line.substr(mark.size())) : line.size() + 1;
  EXPECT_EQ(bytes, written);
  RecordingReader reader(recording);
  const ReplayResult result = replay(reader);
  ASSERT_TRUE(result.damage);
  EXPECT_NE(std::string(result.damage->what()).find("bytes could not be recorded here"), std::string::npos);
  EXPECT_FALSE(result.mismatch);
  EXPECT_EQ(result.lines, 1 + result.steps);
  EXPECT_GT(result.steps, 0U);
}

TEST_F(FileSinkTest, ReportsWhyAFileCannotBeCreated) {
  for (const auto& row :
       {std::pair{"/no/such/place/file", 76}, {"/dev/null/file", 76}, {"/", 75}, {"/dev/null", 75}})
    EXPECT_EQ(failureOf([&] { FileSink unwritable(row.first); }), row.second) << row.first;
}

TEST_F(FileSinkTest, MarksLinesThatAFullDiskRefusesAndContinuesOnceThereIsRoom) {
  {
    const FileSizeLimit limit(kDiskBytes);
    begin();
    writeTicks();
  }
  writeTicks();
  EXPECT_TRUE(sink->writer().flush(std::chrono::minutes(1)));
  sink->write(std::string(kBytesMax + 1, ' '));  // too large for the empty queue
  end();
  const std::string text = contentOf(file);
  expectMarked(text, kHeader.size() + 2 * kWrites * kTicks.size() + kBytesMax + 1);
  EXPECT_GT(text.size(), kDiskBytes);
}

TEST_F(FileSinkTest, MarksAndCutsOnlyItsOwnFileAfterItsPathWasReused) {
  const std::filesystem::path elsewhere = folder.path() / "rotated.jsonl";
  const std::string foreign(2 * kDiskBytes, 'f');
  for (const auto& [removed, replaced] :
       {std::pair{false, false}, {false, true}, {true, false}, {true, true}}) {
    SCOPED_TRACE(std::string(removed ? "removed" : "renamed") + (replaced ? " and replaced" : ""));
    begin();
    std::ifstream own(file, std::ios::binary);
    std::filesystem::rename(file, elsewhere);
    if (removed) std::filesystem::remove(elsewhere);
    if (replaced) std::ofstream(file) << foreign;
    const FileSizeLimit limit(kDiskBytes);
    writeTicks();
    end();
    expectMarked(std::string(std::istreambuf_iterator<char>(own), {}),
                 kHeader.size() + kWrites * kTicks.size());
    EXPECT_EQ(contentOf(file), replaced ? foreign : "");
    EXPECT_EQ(std::filesystem::exists(elsewhere), !removed);
  }
}

TEST_F(FileSinkTest, IsClosedInProgramsThatTheHostStarts) {
  begin();
  EXPECT_NE(std::system(("ls -l /proc/self/fd | grep -q " + file.string()).c_str()), 0);
}

TEST_F(FileSinkTest, SurvivesADiskThatRefusesEverything) {
  const FileSizeLimit limit(0);
  begin();
  writeTicks();
}

TEST_F(FileSinkTest, EndsARecordingAtItsLimitWithALineThatReplayTakesForItsEnd) {
  for (const char* suffix : {"", ".gz"}) {
    file += suffix;
    sink = std::make_unique<FileSink>(file, RecordingSettings{.bytesMax = kDiskBytes, .mustBeNew = true});
    EXPECT_EQ(failureOf([&] { FileSink again(file, RecordingSettings{.mustBeNew = true}); }), 58);
    sink->write(kHeader);
    while (!sink->full()) sink->write(kTick);
    end();
    const std::string text = contentOf(file);
    EXPECT_LE(text.size(), kDiskBytes);
    std::istringstream in(text);
    RecordingReader reader(in);
    const ReplayResult result = replay(reader);
    EXPECT_FALSE(result.damage || result.mismatch);
    EXPECT_GT(result.steps, 0U);
    EXPECT_EQ(reader.text(), "{\"limit\":" + std::to_string(kDiskBytes) + '}');
  }
}

}  // namespace
}  // namespace quarnex::recording
