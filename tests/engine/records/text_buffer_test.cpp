#include "engine/records/text_buffer.h"

#include <gmock/gmock.h>

#include <deque>
#include <random>
#include <string>

namespace quarnex {
namespace {

// The rules of a queue, on a deque.
struct Model {
  std::deque<std::string> items;
  std::size_t capacity;

  void put(const std::string& text) {
    if (capacity == 0) return;
    if (items.size() >= capacity && capacity < 5000) capacity += 100;
    if (items.size() >= capacity) items.pop_front();
    items.push_back(text);
  }
  std::string get() {
    if (items.empty()) return "";
    std::string text = items.front();
    items.pop_front();
    return text;
  }
};

class TextBufferTest : public testing::TestWithParam<std::int16_t> {};

// Phases of filling and of draining wrap the ring, fill it to its limit and empty it many times.
TEST_P(TextBufferTest, KeepsOrderGrowsAndDropsLikeAQueue) {
  TextBuffer buffer;
  BufferInit(buffer, GetParam());
  Model model{{}, static_cast<std::size_t>(std::max<int>(GetParam(), 0))};
  std::mt19937 random(7);
  for (int step = 0; step < 120'000; ++step) {
    const bool filling = step / 9'000 % 2 == 0;
    if (random() % 10 < (filling ? 9U : 2U)) {
      const std::string text =
          random() % 50 == 0 ? "" : std::to_string(step) + std::string(random() % 40, 'x');
      BufferPut(buffer, text, text.size() % 2 != 0);
      model.put(text);
    } else {
      const bool marked = BufferFrontMarked(buffer);
      const std::string text = model.get();
      ASSERT_EQ(marked, text.size() % 2 != 0) << "step " << step;
      ASSERT_EQ(BufferGet(buffer), text) << "step " << step;
    }
    ASSERT_EQ(static_cast<std::size_t>(buffer.Count), model.items.size()) << "step " << step;
    ASSERT_EQ(buffer.Capacity, GetParam() > 0 ? static_cast<int>(model.capacity) : GetParam())
        << "step " << step;
  }
}

INSTANTIATE_TEST_SUITE_P(Capacities, TextBufferTest, testing::Values(1000, 100, 4950, 5000, 1, 0, -5));

TEST(TextBuffer, TakesTextsOfAnySizeAndKeepsOnlyLittleMemoryOfThem) {
  TextBuffer buffer;
  BufferInit(buffer, 1000);
  const std::string large(200'000, 'x');
  const std::string_view texts[] = {"a", large, ""};
  for (const std::string_view text : texts) BufferPut(buffer, text);
  EXPECT_TRUE(BufferTexts({}, 1).empty());
  EXPECT_THAT(BufferTexts(buffer, 2), testing::ElementsAre("a", large));
  for (const std::string_view text : texts) EXPECT_EQ(BufferGet(buffer), text);
  EXPECT_EQ(BufferFront(buffer), "");
  EXPECT_LE(buffer.Items->bytesHeld(), 4096U);
  for (int i = 0; i < 5000; ++i) {  // never empty
    BufferPut(buffer, std::string(100, 'x'));
    EXPECT_THAT(BufferTexts(buffer, 1), testing::SizeIs(1));
    if (i > 0) BufferDrop(buffer);
  }
  EXPECT_LE(buffer.Items->bytesHeld(), 4096U);
}

}  // namespace
}  // namespace quarnex
