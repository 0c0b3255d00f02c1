// Tests that damaged lines are reported with the reason, and that others are parsed and printed.
#include "recording/format/recording_reader.h"

#include <sstream>
#include <string>

#include "gtest/gtest.h"
#include "recording/format/text_codes.h"
#include "recording/printer/recording_printer.h"

namespace quarnex::recording {
namespace {

const std::string kHeader = "{\"quarnex\":\"recording\",\"version\":1,\"utc_offset\":3600}\n";

// The damage that reading all of `text` reports, "" if none.
std::string damageIn(const std::string& text) {
  std::istringstream in(text);
  try {
    RecordingReader reader(in);
    for (Line line; reader.next(line);) {
    }
  } catch (const DamagedLine& damage) {
    return damage.what();
  }
  return "";
}

struct Row {
  std::string line;
  std::string damage;
};

TEST(RecordingReader, ReportsAFirstLineThatIsNotAHeader) {
  const Row rows[] = {
      {"rubbish", "is not JSON (character 1)"},
      {R"({"at":1,"tick":true})", "is not the first line of a recording"},
      {R"({"quarnex":"recording","version":2,"utc_offset":0})", "has version 2; only version 1 is supported"},
      {R"({"quarnex":"recording","version":1})", "\"utc_offset\" is missing"},
      {R"({"quarnex":"recording","version":1,"utc_offset":90000})", "\"utc_offset\" is out of its range"},
  };
  for (const Row& row : rows) EXPECT_EQ(damageIn(row.line + "\n"), "line 1: " + row.damage) << row.line;
  EXPECT_EQ(damageIn(""), "line 1: is missing: the file is empty");
}

TEST(RecordingReader, ReportsTheDamageOfALine) {
  const std::string deep(1000000, '[');
  const Row rows[] = {
      {"", "is not JSON (character 1)"},
      {"[1]", "is not a JSON object"},
      {"{\"at\":1,\"tick\":true}x", "is not JSON (character 21)"},
      {std::string("{\"now\":1}\0", 10), "contains a zero byte"},
      {"{\"now\":1,\"x\":\"\xFF\"}", "is not JSON (character 15)"},
      {"{\"x\":" + deep, "is nested more than 8 deep"},
      {"{\"x\":1}", "is not a line of a recording"},
      {R"({"result":1,"now":2})", "combines two lines of a recording"},
      {R"({"trace":1,"text":"\u0100"})", "has a character above 255"},
      {R"({"at":"1","tick":true})", "\"at\" is of another type"},
      {R"({"at":1.0,"tick":true})", "\"at\" is of another type"},
      {R"({"at":253402300800,"tick":true})", "\"at\" is out of its range"},
      {R"({"at":1,"ms":-1,"tick":true})", "\"ms\" is out of its range"},
      {R"({"at":1,"tick":false})", "has false where only true is valid"},
      {R"({"tick":true})", "\"at\" is missing"},
      {R"({"at":1,"call":"Open"})", "calls a method that does not exist"},
      {R"({"at":1,"call":"Apri","params":[true]})", "has parameters that do not fit the method"},
      {R"({"at":1,"call":"Apri","params":[32768]})", "has an integer of more than 16 bits"},
      {R"({"at":1,"call":"Uscita","params":[],"nested":true})", "is a host call, which cannot be nested"},
      {R"({"at":1,"event":"Open","socket":"SrvAccept","index":1,"code":0})", "\"Open\" is unknown"},
      {R"({"at":1,"event":"Close","socket":"Socket","index":1,"code":0})", "\"Socket\" is unknown"},
      {R"({"at":1,"event":"Close","socket":"SrvAccept","index":1,"code":65536})",
       "\"code\" is out of its range"},
      {R"({"fetched":1,"socket":"SrvAccept","index":1})", "\"fetched\" is of another type"},
      {R"({"failed":"open","number":1,"description":""})", "\"open\" is unknown"},
      {R"({"failed":"closeLog","number":1,"description":""})", "lets \"closeLog\" fail, which never fails"},
      {R"({"property":"period","value":40000})", "\"value\" is out of its range"},
      {R"({"missing":"1"})", "\"missing\" is of another type"},
  };
  for (const Row& row : rows)
    EXPECT_EQ(damageIn(kHeader + row.line + "\n"), "line 2: " + row.damage) << row.line.substr(0, 80);
  EXPECT_EQ(damageIn(kHeader + R"({"now":1})"),
            "line 2: does not end with a line feed, as if the file had been cut off here");
}

TEST(RecordingReader, ReadsAllByteValuesInALineLongerThanItsBuffer) {
  std::string bytes;
  for (int i = 0; i < 256'000; ++i) bytes += static_cast<char>(i);
  std::istringstream in(kHeader + "{\"sent\":" + jsonString(bytes) +
                        ",\"socket\":\"SrvAccept\",\"index\":3}\r\n{\"now\":9}\n");
  RecordingReader reader(in);
  Line line;
  ASSERT_TRUE(reader.next(line));
  EXPECT_TRUE(isEqual(line, OperationLine{Operation::Send, {SocketArray::SrvAccept, 3}, bytes}));
  ASSERT_TRUE(reader.next(line));
  EXPECT_EQ(std::get<NowLine>(line).at, Instant{9});
  EXPECT_FALSE(reader.next(line));
  EXPECT_EQ(reader.number(), 3U);
}

TEST(RecordingPrinter, PrintsTimeLinkAndWordsOfAllLinesBeforeADamagedOne) {
  std::istringstream in(kHeader +
                        R"({"at":0,"call":"Add","params":["AB",5,true,true]}
{"did":"create","socket":"ClientSocket","index":1}
{"at":0,"tick":true,"nested":true}
{"did":"fetch","socket":"ClientSocket","index":2}
{"end":true}
{"result":1}
{"at":86399,"tick":true}
{"at":86399,"call":"MessaggioArrivato","params":[1]}
{"result":false}
{"at":86399,"call":"GetDebug","params":[1]}
{"result":""}
{"at":86400,"call":"MessaggioArrivato","params":[1]}
{"result":true}
{"at":86400,"idle_calls":3,"ms":61002,"tick":true}
{"trace":1,"text":"\u0002\u009bx"}
{"did":"connect","socket":"ClientSocket","index":1}
{"at":86401,"event":"Close","socket":"ClientSocket","index":1,"code":10054,"nested":true}
{"end":true}
{"failed":"connect","socket":"ClientSocket","index":1,"number":10055,"description":"full"}
{"missing":70}
{"at":86402,"tick":true}
}
)");
  RecordingReader reader(in);
  std::ostringstream out;
  EXPECT_THROW(printRecording(reader, out), DamagedLine);
  EXPECT_EQ(out.str(), R"(1970-01-01
       2  01:00:00  host                Add("AB", 5, true, true)
       3            ETH 05 AB           > create ClientSocket 1
       4  01:00:00                        tick
       5                                  > fetch ClientSocket 2
       7                                returns 1
                                        (1 tick, 2 polls without effect)
1970-01-02
      13  01:00:00  host                MessaggioArrivato(1)
      14                                returns true
                                        (3 polls without effect)
      15  01:00:00                      tick  (61.002 s)
      16            ETH 05 AB           \u0002\u009bx
      17            ETH 05 AB           > connect ClientSocket 1
      18  01:00:01  ETH 05 AB             Close on ClientSocket 1, code 10054 Connection reset by peer
      20            ETH 05 AB           < connect failed: 10055 full
      21                                (70 bytes could not be recorded here)
                                        (1 tick without effect)
)");
}

}  // namespace
}  // namespace quarnex::recording
