// Receives every word of the protocol in every sub-state and role, alone and behind a text: none breaks the
// link, and none reaches the host.
#include "engine/message/service_words.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <tuple>
#include <vector>

#include "simulation/checks/independent/frame_format.h"
#include "simulation/checks/invariants.h"
#include "support/stub_host.h"

namespace quarnex::test {
namespace {

using Texts = std::vector<std::string>;

const char* const kExactWords[] = {"9OKAY000", "9STAY000", "9AVANZATO", "9ADVANCED", "9ACK",   "9QRY",
                                   "9CMD",     "9NODATA",  "9DATA000",  "9DATI",     "9DESCR", "9MAPPE",
                                   "9?000",    "9LOCALE",  "9REMOTO",   "9!",        "9K",     "9."};
const char* const kPrefixWords[] = {"9@",   "9EABLE", "9DSBLE", "9FIRM4", "9FIRM5", "9SLAVE", "9VER",
                                    "9MOD", "9TEST",  "9TX",    "9RX",    "9DBG",   "9DSP"};

struct Field {
  std::string text;
  bool known;
};

std::vector<Field> everyField() {
  std::vector<Field> fields{{"9", true}, {"9XYZ", false}};  // of one character: ignored
  for (const std::string word : kExactWords) {
    fields.push_back({word, true});
    fields.push_back({word + "x", false});
  }
  for (const std::string word : kPrefixWords) {
    fields.push_back({word, true});
    fields.push_back({word + "x", true});
    fields.push_back({word.substr(0, word.size() - 1) + "x", false});
  }
  return fields;
}

class Words : public testing::TestWithParam<std::tuple<bool, std::int16_t, bool>> {
 protected:
  // Returns the number of frames sent since the last call, after a check that shares no code with the engine.
  int framesSent(StubHost& host) {
    int frames = 0;
    for (const std::string& line : host.happened()) {
      if (!line.starts_with("send ")) continue;
      ++frames;
      EXPECT_EQ(simulation::FrameFormat::flawOfFrame(line.substr(5), 5), "");
    }
    return frames;
  }

  // Sends a text that is acknowledged, and receives one.
  void expectOrdinaryExchange(StubHost& host) {
    const std::uint64_t before = host.quarn.snapshot(1).textsSent;
    host.quarn.Invia(1, "9!");
    host.quarn.Invia(1, "AFTER");
    std::string sent;
    for (int round = 0; round < 2 && sent.find("|AFTER|") == std::string::npos; ++round) {
      host.receive(1, "0000052|9ACK|9.|");
      host.receive(1, "0000052|9QRY|9.|");
      sent = testing::PrintToString(host.happened());
    }
    EXPECT_NE(sent.find("|9!|AFTER|"), std::string::npos);
    EXPECT_EQ(host.quarn.snapshot(1).textsSent, before + 1);  // words do not count
    host.receive(1, "0000054|WORLD|9CMD|9ACK|9.|");
    EXPECT_FALSE(host.quarn.snapshot(1).batchInFlight);
    EXPECT_EQ(host.inbound(1), Texts{"WORLD"});
    EXPECT_EQ(framesSent(host), 1);
  }
};

TEST_P(Words, LeaveTheLinkWorkingAndDoNotReachTheHost) {
  const auto [client, subState, behindText] = GetParam();
  for (const Field& field : everyField()) {
    SCOPED_TRACE(field.text);
    StubHost host;
    ConnectionRecord& record = host.record(host.addConnected(client));
    record.StatoB = subState;
    host.receive(1,
                 behindText ? "0000054|HELLO|" + field.text + "|9CMD|9.|" : "0000052|" + field.text + "|9.|");
    EXPECT_LE(framesSent(host), 2);
    EXPECT_EQ(simulation::RecordInvariants::brokenInvariant(record), "");
    Texts expected;
    if (behindText) expected.emplace_back("HELLO");
    if (!field.known) expected.push_back(field.text);
    if (field.text == "9K") expected = {"702"};  // the reconnection empties the queue
    EXPECT_EQ(host.quarn.snapshot(1).textsReceived, (behindText ? 1U : 0U) + (field.known ? 0U : 1U));
    EXPECT_EQ(host.inbound(1), expected);
    if (record.Stato != kConnected) host.connect(1);
    expectOrdinaryExchange(host);
    EXPECT_EQ(isServiceWord(field.text), field.known && field.text != "9");
  }
}

INSTANTIATE_TEST_SUITE_P(Each, Words,
                         testing::Combine(testing::Bool(), testing::Range<std::int16_t>(0, 4),
                                          testing::Bool()));

}  // namespace
}  // namespace quarnex::test
