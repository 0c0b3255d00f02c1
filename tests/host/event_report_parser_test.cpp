#include "quarnex/event_report.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "engine/records/text_pieces.h"

namespace quarnex {
namespace {

TEST(EventReport, IsTakenApart) {
  const auto report =
      parseEventReport("X000E0109[#I-5#$TA]B$$S127.0.0.1:20105 Connect Timeout$]09300518112026");
  ASSERT_TRUE(report);
  EXPECT_EQ(report->code, kNotAnsweringReport);
  EXPECT_EQ(report->identifier, -5);
  EXPECT_EQ(report->type, "A]B");
  EXPECT_EQ(report->detail, "127.0.0.1:20105 Connect Timeout");
  EXPECT_EQ(concat(report->hour, ' ', report->minute, ' ', report->second, ' ', report->day, ' ',
                   report->month, ' ', report->year),
            "9 30 5 18 11 2026");
}

TEST(EventReport, EndsTheTypeAtTheFirstMarkOfADetail) {
  const auto report = parseEventReport("X000E0702[#I5#$TA$$SB$]09300518112026");
  ASSERT_TRUE(report);
  EXPECT_EQ(report->type + '/' + report->detail, "A/B");
}

// Whatever is cut off or put in place of a character, the parser never takes it for another report of this
// shape.
TEST(EventReport, RefusesEveryDamagedText) {
  const std::string good = "X000E0702[#I5#$TABC$]09300518112026";
  ASSERT_TRUE(parseEventReport(good));
  for (std::size_t i = 0; i < good.size(); ++i) {
    EXPECT_FALSE(parseEventReport(good.substr(0, i))) << i;
    std::string damaged = good;
    damaged[i] = '?';
    EXPECT_EQ(parseEventReport(damaged).has_value(), i >= 16 && i <= 18)
        << damaged;  // the type may hold anything
  }
  for (const char* text :
       {"", "HELLO", "0702[#I5#$TABC$]09300518112026", "X000E0702[#I70000#$TABC$]09300518112026",
        "X000E0702[#I5#$TABC$]09300532112026", "X000E0702[#I5#$TABC$]093005181120261",
        "X000E0702]#I5#$TABC$[09300518112026", "X000E0702[#I#$TABC$]09300518112026",
        "X000E0702[#I5x#$TABC$]09300518112026", "X000E0702[#I]5#", "X000E0702[#I5#$T]09300518112026",
        "X000E0702[#I05#$TABC$]09300518112026", "X000E0702[#I-0#$TABC$]09300518112026",
        "X000E0702[#I+5#$TABC$]09300518112026", "X000E0702[#I5#$TABC$$S$]09300518112026"})
    EXPECT_FALSE(parseEventReport(text)) << text;
  const std::set<int> known{109, 112, 701, 702, 991, 992, 993};
  for (int code = 0; code <= 9999; ++code) {
    const std::string text = concat("X000E", ZeroPadded{code, 4}, "[#I5#$TABC$$Sdetail$]09300518112026");
    EXPECT_EQ(parseEventReport(text).has_value(), known.contains(code)) << text;
  }
  for (const char* time : {"24000001012026", "00600001012026", "00006101012026", "00000000012026",
                           "00000001002026", "00000001132026"})
    EXPECT_FALSE(parseEventReport(std::string("X000E0702[#I5#$TABC$]") + time)) << time;
}

TEST(ZeroPadded, PutTheSignInFront) {
  const struct {
    std::int64_t number;
    int digits;
    const char* text;
  } rows[] = {
      {5, 2, "05"},    {123, 2, "123"},       {-3, 2, "-03"},    {-3, 3, "-003"},
      {0, 5, "00000"}, {-32768, 3, "-32768"}, {1234, 3, "1234"}, {INT64_MIN, 2, "-9223372036854775808"}};
  for (const auto& row : rows) EXPECT_EQ(concat(ZeroPadded{row.number, row.digits}), row.text);
}

}  // namespace
}  // namespace quarnex
