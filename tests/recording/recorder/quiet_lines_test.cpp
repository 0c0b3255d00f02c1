// Tests which host calls a recording leaves out, and which steps state their time.
#include "recording/recorder/quiet_lines.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>

#include "recording/format/recording_reader.h"

namespace quarnex::recording {
namespace {

const std::string kHeader = "{\"quarnex\":\"recording\",\"version\":1,\"utc_offset\":0}\n";
const std::string kTick = "{\"at\":1,\"tick\":true}\n";
const std::string kTrace = "{\"trace\":1,\"text\":\"x\"}\n";

std::string call(const std::string& method, const std::string& parameters, const std::string& result,
                 const std::string& start = "", const std::string& outputs = "") {
  return R"({"at":1,)" + start + R"("call":")" + method + R"(","params":[)" + parameters + "]}\n" + outputs +
         R"({"result":)" + result + "}\n";
}

constexpr const char* kLeftOut = nullptr;
constexpr const char* kMs = R"("ms":7,)";
constexpr const char* kIdleCall = R"("idle_calls":1,)";
constexpr const char* kIdleCallAndMs = R"("idle_calls":1,"ms":7,)";

TEST(QuietLines, LeaveOutCallsWithoutNews) {
  const struct {
    const char* name;
    std::string recorded;
    const char* added;  // to the first line of the written step
  } rows[] = {
      {"the first poll", call("MessaggioArrivato", "1", "false"), kMs},
      {"the first query", call("Connesso", "1", "false"), kMs},
      {"another poll that finds nothing", call("MessaggioArrivato", "1", "false"), kLeftOut},
      {"a tick without effect", kTick, kIdleCall},
      {"the same answer", call("Connesso", "1", "false"), kLeftOut},
      {"a changed answer", call("Connesso", "1", "true"), kIdleCallAndMs},
      {"the changed answer again", call("Connesso", "1", "true"), kLeftOut},
      {"another link", call("Connesso", "2", "true"), kIdleCallAndMs},
      {"a tick with an effect", kTick + kTrace, kMs},
      {"the first poll for a text", call("GetDebug", "1", R"("")"), kMs},
      {"a poll that finds a text", call("GetDebug", "1", R"("y")"), kMs},
      {"a poll that finds one", call("MessaggioArrivato", "1", "true"), kMs},
      {"a query at another local time", call("Connesso", "1", "true", R"("utc_offset":60,)"), kMs},
      {"a query with a trace", call("Connesso", "1", "true", "", kTrace), kMs},
      {"the first query without a link", call("ProntoPerUscire", "", "0"), kMs},
      {"the same once more", call("ProntoPerUscire", "", "0"), kLeftOut},
      {"another call", call("Chiudi", "1", "null"), kIdleCallAndMs},
  };
  const auto written = std::make_shared<MemorySink>();
  QuietLines quiet(written, [] { return std::chrono::milliseconds(7); });
  for (const auto& row : rows) {
    std::istringstream in(kHeader + row.recorded);
    RecordingReader reader(in);
    written->clear();
    StoredLines lines;
    for (Line line; reader.next(line);) lines.add(line);
    for (const Line& line : lines) quiet.take(line);
    quiet.pause();
    std::string expected = row.added == kLeftOut ? "" : row.recorded;
    if (!expected.empty())
      expected.insert(std::min(expected.find("\"call\""), expected.find("\"tick\"")), row.added);
    EXPECT_EQ(written->text(), expected) << row.name;
  }
}

}  // namespace
}  // namespace quarnex::recording
