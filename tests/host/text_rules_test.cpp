// Tests the warnings about texts that do not reach the peer's host unchanged, and their encoding.
#include "quarnex/text_rules.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace quarnex {
namespace {

TEST(TextRules, WarnOfEachTextThatDoesNotArriveUnchanged) {
  const std::string longest(kMessageLengthMax - messageLength(1, 0), 'x');
  const struct {
    std::string text;
    const char* warning;  // a part of it, "" = no warning
    bool alone, never;
    const char* rule;
    std::size_t position = 0;
  } rows[] = {
      {"HELLO", "", false, false, ""},
      {longest, "", false, false, ""},
      {longest + 'x', "do not fit into one message", true, true, "too-long", longest.size()},
      {"", "is not sent", true, false, "empty"},
      {"VUOTABUFFER", "empties the link's queues", true, false, "empties-queues"},
      {"A|B\3C", "early: the peer never accepts it", true, true, "end-character", 3},
      {"|", "none of its 2 pieces arrive", true, false, "separator"},
      {"AB|C", "1 of its 2 pieces arrive", true, false, "separator", 2},
      {"9ACK|AB", "1 of its 2 pieces arrive", true, false, "separator", 4},
      {"AB|CD", "2 of its 2 pieces arrive, as separate texts", true, false, "separator", 2},
      {"AB|CD|EF|GH", "3 of its 4 pieces arrive, as separate texts", true, false, "separator", 2},
      {"A", "one character", false, false, "too-short"},
      {"9ACK", "word of the protocol", true, false, "protocol-word"},
      {"9VER\2", "word of the protocol", true, false, "protocol-word"},
      {"vuotabuffer", "", false, false, ""},
      {"A\2B", "STX", true, false, "start-character", 1},
      {"9 LIVES", "begins the words", false, false, "leading-nine"},
      {"X000E0702[#I5#$TABC$]09300518112026", "mistake it for a report", false, false, "looks-like-report"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text.substr(0, 40));
    const TextCheck check = checkText(row.text);
    EXPECT_EQ(check.warning.empty(), *row.warning == '\0');
    EXPECT_NE(check.warning.find(row.warning), std::string::npos) << check.warning;
    EXPECT_EQ(check.alone, row.alone);
    EXPECT_EQ(check.never, row.never);
    EXPECT_STREQ(nameOf(check.rule), row.rule);
    EXPECT_EQ(check.position, row.position);
    const auto encoded = encodeText(row.text);
    EXPECT_EQ(encoded == row.text, *row.rule == '\0' && row.text.size() <= kSafeTextLength);
    EXPECT_TRUE(!encoded || decodeText(*encoded) == row.text);
  }
}

TEST(TextEncoding, IsReversedForEveryTextOfUpToThreeBytes) {
#ifdef NDEBUG
  constexpr int kStep = 1;
#else
  constexpr int kStep = 251;  // a prime, so that each byte occurs in each place
#endif
  std::string text;
  for (int length = 0; length <= 3; ++length) {
    for (int number = 0; number < 1 << 8 * length; number += length < 3 ? 1 : kStep) {
      text.clear();
      for (int i = 0; i < length; ++i) text += static_cast<char>(number >> 8 * i);
      const auto encoded = encodeText(text);
      ASSERT_TRUE(encoded && checkText(*encoded).rule == TextRule::None && decodeText(*encoded) == text)
          << length << " bytes, number " << number;
    }
  }
}

TEST(TextEncoding, EndsAtTheSafeLength) {
  const std::string most(kEncodableLengthMax, '|'), longest(kSafeTextLength, 'x');
  EXPECT_LE(messageLength(kTextsPerBatchMax, kTextsPerBatchMax * kSafeTextLength), kMessageLengthMax);
  EXPECT_EQ(encodeText(most)->size(), kSafeTextLength);
  EXPECT_EQ(encodeText(most + '|'), std::nullopt);
  EXPECT_EQ(encodeText(longest), longest);
  EXPECT_EQ(encodeText(longest + 'x'), std::nullopt);
  EXPECT_EQ(decodeText(longest + 'x'), std::nullopt);
}

TEST(TextEncoding, DecodesNothingThatIsNotInItsFormat) {
  for (const char* text : {"", "A", "9ACK", "9 LIVES", "A|B", "~:~", "~:A~1", "~:A~"})
    EXPECT_EQ(decodeText(text), std::nullopt) << text;
  EXPECT_EQ(decodeText("~:NOT NEEDED"), "NOT NEEDED");
}

}  // namespace
}  // namespace quarnex
