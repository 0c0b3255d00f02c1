// Tests the text file with invalid names, a file size limit and a full device.
#include "platform/posix/posix_text_file.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "services/services_contract.h"
#include "support/test_files.h"

namespace quarnex {
namespace {

class PosixTextFileTest : public testing::Test {
 protected:
  std::string content() const {
    std::ostringstream text;
    text << std::ifstream(name, std::ios::binary).rdbuf();
    return text.str();
  }

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
    EXPECT_EQ(content(), "one\r\ntwo\r\n");
  }
  file.write("five\r\n");
  file.flush();
  EXPECT_EQ(content(), "one\r\ntwo\r\nfive\r\n");
}

TEST_F(PosixTextFileTest, WritingToAFullDeviceRaisesNoFailure) {
  file.create("/dev/full");
  for (int i = 0; i < 5000; ++i) file.write("a line that goes nowhere\r\n");
  file.close();
}

}  // namespace
}  // namespace quarnex
