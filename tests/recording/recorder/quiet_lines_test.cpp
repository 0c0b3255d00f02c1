// Tests which host calls a recording leaves out, and which steps state their time.
#include "recording/recorder/quiet_lines.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "recording/format/recording_reader.h"

namespace quarnex::recording {
namespace {

std::string call(const std::string& method, const std::string& parameters, const std::string& result,
                 const std::string& start = "") {
  return R"({"at":1,)" + start + R"("call":")" + method + R"(","params":[)" + parameters + "]}\n" +
         R"({"result":)" + result + "}\n";
}

TEST(QuietLines, LeaveOutCallsWithoutNews) {
  const std::string tick = R"({"at":1,"tick":true})"
                           "\n",
                    trace = R"({"trace":1,"text":"x"})"
                            "\n";
  const std::string ms = R"("ms":7,)", idle = R"("idle_calls":1,)", offset = R"("utc_offset":60,)";
  const struct {
    const char* name;
    std::string recorded, written;
  } rows[] = {
      {"the first poll", call("MessaggioArrivato", "1", "false"),
       call("MessaggioArrivato", "1", "false", ms)},
      {"the first query", call("Connesso", "1", "false"), call("Connesso", "1", "false", ms)},
      {"another poll that finds nothing", call("MessaggioArrivato", "1", "false"), ""},
      {"a tick without effect", tick,
       R"({"at":1,"idle_calls":1,"tick":true})"
       "\n"},
      {"the same answer", call("Connesso", "1", "false"), ""},
      {"a changed answer", call("Connesso", "1", "true"), call("Connesso", "1", "true", idle + ms)},
      {"the changed answer again", call("Connesso", "1", "true"), ""},
      {"another link", call("Connesso", "2", "true"), call("Connesso", "2", "true", idle + ms)},
      {"a tick with an effect", tick + trace,
       R"({"at":1,"ms":7,"tick":true})"
       "\n" +
           trace},
      {"the first poll for a text", call("GetDebug", "1", R"("")"), call("GetDebug", "1", R"("")", ms)},
      {"a poll that finds a text", call("GetDebug", "1", R"("y")"), call("GetDebug", "1", R"("y")", ms)},
      {"a poll that finds one", call("MessaggioArrivato", "1", "true"),
       call("MessaggioArrivato", "1", "true", ms)},
      {"a query at another local time", call("Connesso", "1", "true", offset),
       call("Connesso", "1", "true", offset + ms)},
      {"a query with a trace",
       R"({"at":1,"call":"Connesso","params":[1]})"
       "\n" +
           trace + "{\"result\":true}\n",
       R"({"at":1,"ms":7,"call":"Connesso","params":[1]})"
       "\n" +
           trace + "{\"result\":true}\n"},
      {"the first query without a link", call("ProntoPerUscire", "", "0"),
       call("ProntoPerUscire", "", "0", ms)},
      {"the same once more", call("ProntoPerUscire", "", "0"), ""},
      {"another call", call("Chiudi", "1", "null"), call("Chiudi", "1", "null", idle + ms)},
  };
  const auto written = std::make_shared<MemorySink>();
  QuietLines quiet(written, [] { return std::chrono::milliseconds(7); });
  for (const auto& row : rows) {
    std::istringstream in(R"({"quarnex":"recording","version":1,"utc_offset":0})"
                          "\n" +
                          row.recorded);
    RecordingReader reader(in);
    written->clear();
    StoredLines lines;
    for (Line line; reader.next(line);) lines.add(line);
    for (const Line& line : lines) quiet.take(line);
    quiet.pause();
    EXPECT_EQ(written->text(), row.written) << row.name;
  }
}

}  // namespace
}  // namespace quarnex::recording
