// Tests that compressed files hold everything written so far at any moment, whatever the disk refused and
// whatever was cut off, and that text is read up to damage.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "quarnex/failure.h"
#include "services/compression.h"
#include "support/test_files.h"

namespace quarnex {
namespace {

struct Content {
  std::string bytes;
  bool full = false;  // the disk takes only a half
};

struct RamStorage final : Storage {
  explicit RamStorage(std::shared_ptr<Content> in) : content(std::move(in)) {}
  std::int16_t writeAt(std::uintmax_t position, std::string_view bytes) override {
    EXPECT_LE(position, content->bytes.size());
    content->bytes.replace(position, bytes.size(), bytes, 0, bytes.size() / (content->full ? 2 : 1));
    return content->full ? std::int16_t{61} : std::int16_t{0};
  }
  void cutTo(std::uintmax_t bytes) override { content->bytes.resize(std::min(bytes, size())); }
  std::uintmax_t size() override { return content->bytes.size(); }
  std::shared_ptr<Content> content;
};

// Reads up to the end or the damage.
std::string textOf(const std::string& compressedBytes, bool& damaged) {
  std::istringstream in(compressedBytes);
  const auto text = decompressed(in);
  std::string read;
  try {
    char block[1'000];
    while (text->read(block, sizeof block) || text->gcount() > 0)
      read.append(block, static_cast<std::size_t>(text->gcount()));
  } catch (const Failure& failure) {
    damaged = failure.number() == 75;
  }
  return read;
}

TEST(Compression, KeepsEverythingThatWasWrittenAndNotCutOffAfterEveryWrite) {
  const auto file = std::make_shared<Content>();
  auto storage = compressed(std::make_unique<RamStorage>(file));
  std::mt19937 random;
  const auto below = [&](std::size_t end) { return random() % end; };
  std::string text;
  std::vector<std::size_t> ends{0};  // the places behind which everything can be cut off
  bool damaged = false;
  for (int step = 0; step < 400; ++step) {
    const std::size_t end = ends[below(ends.size())];
    if (below(4) == 0) {
      storage->cutTo(end);
      text.resize(end);
    }
    const std::size_t position = below(4) == 0 ? std::min(end, text.size()) : text.size();
    std::string piece(1 + below(3'000), 'a');
    for (char& byte : piece) byte = static_cast<char>(below(4) == 0 ? below(256) : 'b');
    file->full = below(8) == 0;
    text.resize(position);
    std::erase_if(ends, [&](std::size_t one) { return one > position; });
    if (storage->writeAt(position, piece) == 0) text += piece;
    if (text.size() > ends.back()) ends.push_back(text.size());
    if (ends.size() > 5) ends.erase(ends.begin());
    EXPECT_EQ(storage->size(), text.size());
    EXPECT_LE(file->bytes.size(), storage->fileBytes());
    ASSERT_TRUE(step % 8 != 0 || textOf(file->bytes, damaged) == text) << step;
  }
  storage->cutTo(0);
  EXPECT_GT(storage->size(), 0U);  // only the ends of the latest writes are remembered
  file->bytes.clear();             // by another program
  EXPECT_EQ(storage->size(), 0U);
  const std::string last = text.substr(text.size() - 1'000);
  EXPECT_EQ(storage->writeAt(0, last), 0);
  storage.reset();
  compressed(std::make_unique<RamStorage>(file)).reset();  // writes nothing
  EXPECT_EQ(textOf(file->bytes, damaged), last);
  EXPECT_FALSE(damaged);
}

TEST(Compression, IsReadByOtherProgramsAndUpToDamage) {
  const auto file = std::make_shared<Content>();
  std::string text;
  {
    const auto storage = compressed(std::make_unique<RamStorage>(file));
    std::mt19937 random;
    for (std::size_t members = 0; members < 2'200'000; members += 30'000) {
      std::string piece(30'000, 'x');
      for (char& byte : piece) byte = static_cast<char>(random());
      ASSERT_EQ(storage->writeAt(text.size(), piece), 0);
      text += piece;
    }
  }
  const TemporaryFolder folder;
  const auto path = folder.path() / "bytes";
  std::ofstream(path.string() + ".gz", std::ios::binary) << file->bytes;
  EXPECT_EQ(std::system(("gzip -d " + path.string() + ".gz").c_str()), 0);
  EXPECT_TRUE(contentOf(path) == text);
  EXPECT_LT(file->bytes.find("\x1F\x8B\x08", 1), 1'100'000U) << "a second member";
  for (std::size_t at = 0; at < file->bytes.size(); at += file->bytes.size() / 20 + 1) {
    bool damaged = false;
    EXPECT_TRUE(text.starts_with(textOf(file->bytes.substr(0, at), damaged)) && !damaged) << at;
    std::string changed = file->bytes;
    changed[at] = static_cast<char>(~changed[at]);
    textOf(changed, damaged);
    EXPECT_TRUE(damaged) << at;
  }
}

}  // namespace
}  // namespace quarnex
