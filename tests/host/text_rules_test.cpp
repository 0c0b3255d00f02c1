// Tests the warnings about texts that do not reach the peer's host unchanged.
#include "quarnex/text_rules.h"

#include <gtest/gtest.h>

#include <string>

namespace quarnex {
namespace {

TEST(TextRules, WarnOfEachTextThatDoesNotArriveUnchanged) {
  const std::string longest(kMessageLengthMax - messageLength(1, 0), 'x');
  const struct {
    std::string text;
    const char* warning;  // a part of it, "" = no warning
    bool alone, never;
  } rows[] = {
      {"HELLO", "", false, false},
      {longest, "", false, false},
      {longest + 'x', "do not fit into one message", true, true},
      {"", "is not sent", true, false},
      {"VUOTABUFFER", "empties the link's queues", true, false},
      {"A\3B", "ETX", true, true},
      {"|", "none of its 2 pieces arrive", true, false},
      {"AB|C", "1 of its 2 pieces arrive", true, false},
      {"9ACK|AB", "1 of its 2 pieces arrive", true, false},
      {"AB|CD", "2 of its 2 pieces arrive, as separate texts", true, false},
      {"AB|CD|EF|GH", "3 of its 4 pieces arrive, as separate texts", true, false},
      {"A", "one character", false, false},
      {"9ACK", "word of the protocol", true, false},
      {"9VERSION", "word of the protocol", true, false},
      {"vuotabuffer", "", false, false},
      {"A\2B", "STX", true, false},
      {"9 LIVES", "begins the words", false, false},
      {"X000E0702[#I5#$TABC$]09300518112026", "mistake it for a report", false, false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text.substr(0, 40));
    const TextCheck check = checkText(row.text);
    EXPECT_EQ(check.warning.empty(), *row.warning == '\0');
    EXPECT_NE(check.warning.find(row.warning), std::string::npos) << check.warning;
    EXPECT_EQ(check.alone, row.alone);
    EXPECT_EQ(check.never, row.never);
  }
}

}  // namespace
}  // namespace quarnex
