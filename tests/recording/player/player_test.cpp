// Tests that recordings of an independent model replay, and that every alteration is found at its line.
#include "recording/player/player.h"

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "gtest/gtest.h"

namespace quarnex::recording {
namespace {

using Json = nlohmann::ordered_json;
using Lines = std::vector<std::string>;

std::vector<std::filesystem::path> recordings() {
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(QUARNEX_TEST_DATA "/recordings")) {
    files.push_back(entry.path());
  }
  std::ranges::sort(files);
  return files;
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
    std::ifstream in(file);
    RecordingReader reader(in);
    const ReplayResult result = replay(reader);
    EXPECT_FALSE(result.mismatch) << file << "\n" << reportOf(*result.mismatch);
    EXPECT_FALSE(result.damage) << file << result.damage->what();
    EXPECT_GT(result.steps, 0U) << file;
  }
}

// The key that determines the kind of an output, "" for steps and inputs.
std::string outputKey(const Json& line) {
  for (const char* key : {"trace", "did", "sent", "result", "failure", "end"}) {
    if (line.contains(key)) return key;
  }
  return "";
}

bool isInputOnItsOwn(const Json& line) {
  if (line.contains("property") || line.contains("now")) return true;
  if (!line.contains("failed")) return false;
  const auto operation =
      std::ranges::find(kOperations, line["failed"].get<std::string>(), &OperationShape::name);
  return operation != kOperations.end() && operation->isRead;
}

// Groups outputs with the same members: by operation, or by type of the result.
std::string kindOf(const Json& line) {
  const std::string key = outputKey(line);
  if (key == "did") return line["did"].get<std::string>() + line.value("socket", "");
  return key == "result" ? key + line[key].type_name() : key;
}

struct OutputPlace {
  const Lines* lines;
  std::size_t index;  // of an output, from 0
};

// The first four outputs of each kind, by their line number.
std::map<std::string, std::vector<OutputPlace>> placesByKind(const std::vector<Lines>& files) {
  constexpr std::size_t kPlaces = 4;
  std::map<std::string, std::vector<OutputPlace>> places;
  for (const Lines& lines : files) {
    std::map<std::string, std::size_t> first;
    for (std::size_t index = 1; index < lines.size(); ++index) {
      const std::string kind = kindOf(Json::parse(lines[index]));
      if (!kind.empty() && first.emplace(kind, index).second) places[kind].push_back({&lines, index});
    }
  }
  for (auto& [kind, some] : places) {
    std::ranges::sort(some, {}, &OutputPlace::index);
    some.resize(std::min(some.size(), kPlaces));
  }
  return places;
}

// Copies of the line, each with another value or type of one member. Leaves out fetches from another
// instance, since the recorded fetch itself implies waiting bytes: the mismatch shows later.
Lines alterations(const std::string& line) {
  Lines altered;
  const Json original = Json::parse(line);
  for (const auto& [key, value] : original.items()) {
    for (const Json& other :
         {Json(value == 1 ? 2 : 1), Json("ServerSocket"), Json("close"), Json(true), Json(nullptr)}) {
      Json changed = original;
      changed[key] = other;
      const bool elsewhere = key == "index" && original.value("did", "") == "fetch";
      if (other != value && !elsewhere) altered.push_back(changed.dump());
    }
  }
  return altered;
}

TEST(Player, FindsAnAlteredOutputAtItsLine) {
  std::vector<Lines> files;
  for (const auto& file : recordings()) files.push_back(linesOf(file));
  const auto places = placesByKind(files);
  EXPECT_GE(places.size(), 28U);
  for (const auto& [kind, some] : places) {
    for (const OutputPlace& place : some) {
      SCOPED_TRACE(kind + " " + (*place.lines)[place.index]);
      const auto at = static_cast<std::ptrdiff_t>(place.index);
      Lines changed(place.lines->begin(), place.lines->begin() + at + 1);
      for (const std::string& line : alterations(changed.back())) {
        changed.back() = line;
        EXPECT_EQ(mismatchAt(changed), place.index + 1) << line;
      }
    }
  }
}

// Index of the first line from `index` on that is compared with the engine's next output.
std::size_t nextCompared(const Lines& lines, std::size_t index) {
  while (index < lines.size() && isInputOnItsOwn(Json::parse(lines[index]))) ++index;
  return index;
}

TEST(Player, FindsAnAddedAndAMissingOutput) {
  std::vector<Lines> files;
  for (const auto& file : recordings()) files.push_back(linesOf(file));
  for (const auto& [kind, some] : placesByKind(files)) {
    for (const OutputPlace& place : some) {
      const Lines& lines = *place.lines;
      SCOPED_TRACE(kind + " " + lines[place.index]);
      const std::size_t next = nextCompared(lines, place.index + 1);
      if (next == lines.size() || lines[next] == lines[place.index]) continue;
      const auto at = static_cast<std::ptrdiff_t>(place.index);
      Lines doubled = lines;
      doubled.insert(doubled.begin() + at, lines[place.index]);
      EXPECT_EQ(mismatchAt(doubled), place.index + 2);
      Lines lost = lines;
      lost.erase(lost.begin() + at);
      EXPECT_EQ(mismatchAt(lost), next);
    }
  }
}

TEST(Player, ReplaysAllWholeLinesOfATruncatedRecording) {
  std::string text;
  for (const std::string& line : linesOf(QUARNEX_TEST_DATA "/recordings/strangers-2a.jsonl"))
    text += line + "\n";
  const std::size_t header = text.find('\n') + 1;
  for (std::size_t length = header; length <= text.size(); ++length) {
    const std::string cut = text.substr(0, length);
    const auto whole = static_cast<std::size_t>(std::ranges::count(cut, '\n'));
    const ReplayResult result = replayText(cut);
    ASSERT_FALSE(result.mismatch) << length;
    ASSERT_EQ(result.damage ? result.damage->number() : whole, cut.ends_with('\n') ? whole : whole + 1)
        << length;
    ASSERT_EQ(result.lines, whole) << length;
  }
}

struct Case {
  const char* name;
  Lines lines;
  std::size_t mismatch;  // line, 0 = none
};

// A client link that is open and about to call.
const Lines kOpened = {R"({"quarnex":"recording","version":1,"utc_offset":3600})",
                       R"({"at":0,"call":"Add","params":["ABC",5,true,true]})",
                       R"({"did":"create","socket":"ClientSocket","index":1})",
                       R"({"did":"setLocalPort","socket":"ClientSocket","index":1,"value":0})",
                       R"({"did":"setRemotePort","socket":"ClientSocket","index":1,"value":20105})",
                       R"({"did":"setLocalAddress","socket":"ClientSocket","index":1,"value":"0.0.0.0"})",
                       R"({"did":"setRemoteHost","socket":"ClientSocket","index":1,"value":"127.0.0.1"})",
                       R"({"trace":1,"text":"ADD 1 : 5 ABC ABC"})",
                       R"({"result":1})",
                       R"({"at":0,"call":"Apri","params":[1]})",
                       R"({"trace":1,"text":"ATTIVATO SOCKET CLIENT ETH 05 ABC"})",
                       R"({"did":"setPeriod","value":200})",
                       R"({"result":null})",
                       R"({"at":11,"tick":true})"};

TEST(Player, SuppliesInputsAtTheirPlaces) {
  const std::string state0 = R"({"trace":1,"text":"Client Socket State:0 Closed"})";
  const std::string chiamo = R"({"trace":1,"text":"CHIAMO ETH 05 ABC 20105 127.0.0.1"})";
  const std::string close = R"({"did":"close","socket":"ClientSocket","index":1})";
  const std::string prepareA = R"({"did":"prepareA","socket":"ClientSocket","index":1})";
  const std::string prepareB = R"({"did":"prepareB","socket":"ClientSocket","index":1})";
  const std::string connect = R"({"did":"connect","socket":"ClientSocket","index":1})";
  const std::string failed =
      R"({"failed":"connect","socket":"ClientSocket","index":1,"number":10055,"description":"x"})";
  const std::string nestedConnect =
      R"({"at":11,"event":"Receive","socket":"ClientSocket","index":1,"code":0,"nested":true})";
  const std::string end = R"({"end":true})";
  const std::string state3 = R"({"trace":1,"text":"Client Socket State:3 Calling"})";
  const std::string error = R"({"trace":1,"text":"ETH 05 ABC ERROR CODE :10055 Errore CHIAMO ETH 05 ABC:x"})";
  const std::string tick = R"({"at":12,"tick":true})";
  const Case cases[] = {
      {"nothing more", {}, 0},
      {"a whole call", {state0, chiamo, close, prepareA, prepareB, connect, state3, tick}, 0},
      {"a step that ends early", {state0, chiamo, tick}, 17},
      {"a step that goes on", {state0, chiamo, close, prepareA, prepareB, connect, state3, state3}, 22},
      {"a failed call leaves the state",
       {state0, chiamo, close, prepareA, prepareB, connect, failed, state0, error},
       0},
      {"an answer after what is nested",
       {state0, chiamo, close, prepareA, prepareB, connect, nestedConnect, end, failed, state0, error},
       0},
      {"a nested step without its end",
       {state0, chiamo, close, prepareA, prepareB, connect, nestedConnect, state3},
       22},
      {"an answer to another call", {state0, chiamo, close, prepareA, failed, prepareB}, 19},
      {"a property",
       {R"({"property":"statusText","socket":"ClientSocket","index":1,"value":"Chiuso"})",
        R"({"trace":1,"text":"Client Socket State:0 Chiuso"})", chiamo},
       0},
      {"a property of an instance that was never created",
       {R"({"property":"state","socket":"SrvAccept","index":-3,"value":4})", state0, chiamo},
       0},
      {"a read that fails until the next output",
       {R"({"failed":"statusText","socket":"ClientSocket","index":1,"number":7,"description":"x"})", chiamo,
        close, prepareA, prepareB, connect, state3,
        R"({"trace":1,"text":"ETH 05 ABC ERROR CODE :7 Errore CHIAMO ETH 05 ABC:x"})"},
       0},
      {"keys in another order, unknown keys, other escapes",
       {R"({"note":[{"deep":{}}],"text":"Client Socket \u0053tate:0 Closed","at":5,"trace":1})", chiamo},
       0},
      {"an event before anything exists for it",
       {state0, chiamo, close, prepareA, prepareB, connect, state3,
        R"({"at":12,"event":"Accept","socket":"ServerSocket","index":7,"handle":1,"remote_host":"","code":0})",
        tick},
       0},
  };
  for (const Case& row : cases) {
    SCOPED_TRACE(row.name);
    Lines lines = kOpened;
    lines.insert(lines.end(), row.lines.begin(), row.lines.end());
    EXPECT_EQ(mismatchAt(lines), row.mismatch);
  }
}

TEST(Player, ReportsAMismatchWithItsStepAndTheLinesBefore) {
  Lines lines = kOpened;
  lines.push_back(R"({"trace":1,"text":"Client Socket State:2 Closed"})");
  const std::string report = reportOf(*replayLines(lines).mismatch);
  for (const char* part :
       {"before           5  {", "before          14  {", "step            14  {\"at\":11,",
        "expected        15  {\"trace\":1,\"text\":\"Client Socket State:2",
        "actual              {\"trace\":1,\"text\":\"Client Socket State:0"}) {
    EXPECT_NE(report.find(part), report.npos) << part << "\n" << report;
  }
  EXPECT_EQ(std::ranges::count(report, '\n'), 14);
  EXPECT_EQ(report.find("before           4"), report.npos);
}

}  // namespace
}  // namespace quarnex::recording
