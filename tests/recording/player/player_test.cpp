// Tests that recordings of an independent model replay, and that each alteration is a mismatch at its line.
#include "recording/player/player.h"

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "gtest/gtest.h"
#include "support/test_files.h"

namespace quarnex::recording {
namespace {

using Json = nlohmann::ordered_json;
using Lines = std::vector<std::string>;

std::set<std::filesystem::path> recordings() {
  const std::filesystem::directory_iterator files(QUARNEX_TEST_DATA "/recordings");
  return {begin(files), end(files)};
}

Lines linesOf(const std::filesystem::path& file) {
  std::ifstream in(file);
  Lines lines;
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

ReplayResult replayText(const std::string& text) {
  std::istringstream in(text);
  RecordingReader reader(in);
  return replay(reader);
}

ReplayResult replayLines(const Lines& lines) {
  std::string text;
  for (const std::string& line : lines) text += line + "\n";
  return replayText(text);
}

// Line of the first mismatch, 0 = none.
std::size_t mismatchAt(const Lines& lines) {
  const ReplayResult result = replayLines(lines);
  if (result.damage) ADD_FAILURE() << result.damage->what();
  return result.mismatch ? result.mismatch->expected.number : 0;
}

TEST(Player, ReplaysEveryRecordingWithoutAMismatch) {
  for (const auto& file : recordings()) {
    const std::string text = contentOf(file);
    const ReplayResult result = replayText(text);
    EXPECT_FALSE(result.mismatch) << file << "\n" << reportOf(*result.mismatch);
    EXPECT_FALSE(result.damage) << file << result.damage->what();
    EXPECT_GT(result.steps, 0U) << file;
    EXPECT_EQ(result.lines, static_cast<std::size_t>(std::ranges::count(text, '\n'))) << file;
  }
}

// Groups outputs with the same members: by operation, or by type of the result; "" for steps and inputs.
std::string kindOf(const Json& line) {
  if (line.contains("did")) return line["did"].get<std::string>() + line.value("socket", "");
  if (line.contains("result")) return std::string("result") + line["result"].type_name();
  for (const char* key : {"trace", "sent", "failure", "end"})
    if (line.contains(key)) return key;
  return "";
}

struct OutputPlace {
  Lines lines;
  std::size_t index = SIZE_MAX;  // of an output, from 0
};

// The earliest output of each kind in all recordings.
std::map<std::string, OutputPlace> placesByKind() {
  std::map<std::string, OutputPlace> places;
  for (const auto& file : recordings()) {
    const Lines lines = linesOf(file);
    for (std::size_t index = 1; index < lines.size(); ++index) {
      const std::string kind = kindOf(Json::parse(lines[index]));
      if (!kind.empty() && index < places[kind].index) places[kind] = {lines, index};
    }
  }
  return places;
}

// Copies of the line, each with another value or type of one member. Leaves out fetches from another
// instance, since the recorded fetch itself implies waiting bytes: the mismatch shows later.
Lines alterations(const std::string& line) {
  Lines altered;
  const Json original = Json::parse(line);
  for (const auto& [key, value] : original.items()) {
    for (const Json& other : {Json(value == 1 ? 2 : 1), Json(99'999), Json(1.5), Json("ServerSocket"),
                              Json("close"), Json(true), Json(nullptr)}) {
      Json changed = original;
      changed[key] = other;
      const bool elsewhere = key == "index" && original.value("did", "") == "fetch";
      if (other != value && !elsewhere) altered.push_back(changed.dump());
    }
  }
  return altered;
}

TEST(Player, FindsAnAlteredOutputAtItsLine) {
  const auto places = placesByKind();
  EXPECT_GE(places.size(), 28U);
  for (const auto& [kind, place] : places) {
    SCOPED_TRACE(kind + " " + place.lines[place.index]);
    Lines changed = place.lines;
    changed.resize(place.index + 1);
    for (const std::string& line : alterations(changed.back())) {
      changed.back() = line;
      EXPECT_EQ(mismatchAt(changed), place.index + 1) << line;
    }
  }
}

std::string traced(const std::string& text) {
  return R"({"trace":1,"text":")" + text + "\"}";
}
const std::string kPrepares = R"({"did":"prepareB","socket":"ClientSocket","index":1})";
const std::string kClosed = traced("Client Socket State:0 Closed");
const std::string kCalling = traced("Client Socket State:3 Calling");
const std::string kCalls = traced("CHIAMO ETH 05 ABC 20105 127.0.0.1");
const std::string kFailed =
    R"({"failed":"connect","socket":"ClientSocket","index":1,"number":10055,"description":"x"})";
const std::string kError = traced("ETH 05 ABC ERROR CODE :10055 Errore CHIAMO ETH 05 ABC:x");
const std::string kNested =
    R"({"at":11,"event":"Receive","socket":"ClientSocket","index":1,"code":0,"nested":true})";
const std::string kTick = R"({"at":12,"tick":true})";

// Lines of a recording of a client link: a tick at line 14 traces the state and the call, closes and prepares
// the socket, and calls connect at line 20.
Lines recorded(std::ptrdiff_t first, std::ptrdiff_t last) {
  static const Lines lines = linesOf(QUARNEX_TEST_DATA "/recordings/reconnect-1b.jsonl");
  return {lines.begin() + first - 1, lines.begin() + last};
}
Lines joined(Lines lines, const Lines& more) {
  lines.insert(lines.end(), more.begin(), more.end());
  return lines;
}

TEST(Player, SuppliesInputsAtTheirPlaces) {
  const struct {
    const char* name;
    std::ptrdiff_t last;  // of the recorded lines
    Lines more;
    std::size_t mismatch = 0;  // line, 0 = none
  } rows[] = {
      {"nothing more", 14, {}},
      {"a whole call", 20, {kCalling, kTick}},
      {"a step that ends early", 16, {kTick}, 17},
      {"a trace without a text", 14, {R"({"trace":1})"}, 15},
      {"a step that goes on", 20, {kCalling, kCalling}, 22},
      {"a failed call leaves the state", 20, {kFailed, kClosed, kError}},
      {"an answer after a nested step", 20, {kNested, R"({"end":true})", kFailed, kClosed, kError}},
      {"a nested step without its end", 20, {kNested, kCalling}, 22},
      {"an answer to another call", 18, {kFailed, kPrepares}, 19},
      {"a property",
       14,
       {R"({"property":"statusText","socket":"ClientSocket","index":1,"value":"Chiuso"})",
        traced("Client Socket State:0 Chiuso"), kCalls}},
      {"a property of an instance that was never created",
       14,
       {R"({"property":"state","socket":"SrvAccept","index":-3,"value":4})", kClosed, kCalls}},
      {"a read that fails until the next output", 14,
       joined({R"({"failed":"statusText","socket":"ClientSocket","index":1,"number":7,"description":"x"})"},
              joined(recorded(16, 20),
                     {kCalling, traced("ETH 05 ABC ERROR CODE :7 Errore CHIAMO ETH 05 ABC:x")}))},
      {"keys in another order, unknown keys, other escapes",
       14,
       {R"({"note":[{"deep":{}}],"text":"Client Socket \u0053tate:0 Closed","at":5,"trace":1})", kCalls}},
      {"an event for an unknown link",
       21,
       {R"({"at":12,"event":"Accept","socket":"ServerSocket","index":7,"handle":1,"remote_host":"","code":0})",
        kTick}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(mismatchAt(joined(recorded(1, row.last), row.more)), row.mismatch);
  }
}

TEST(Player, ReportsAMismatchWithItsStepAndTheLinesBefore) {
  const Lines lines = joined(recorded(1, 14), {traced("Client Socket State:2 Closed")});
  const std::string report = reportOf(*replayLines(lines).mismatch);
  for (const char* part :
       {"before           5  {", "before          14  {", "step            14  {\"at\":1794993832,",
        "expected        15  {\"trace\":1,\"text\":\"Client Socket State:2",
        "actual              {\"trace\":1,\"text\":\"Client Socket State:0"})
    EXPECT_NE(report.find(part), report.npos) << part << "\n" << report;
  EXPECT_EQ(std::ranges::count(report, '\n'), 14);
  EXPECT_EQ(report.find("before           4"), report.npos);
}

}  // namespace
}  // namespace quarnex::recording
