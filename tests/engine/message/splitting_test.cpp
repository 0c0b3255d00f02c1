#include "engine/message/splitting.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "support/stub_host.h"

namespace quarnex::test {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;

std::string flagsOf(const ConnectionRecord& record) {
  std::string flags;
  if (record.RicevutoACK) flags += 'A';
  if (record.RicevutoCMD) flags += 'C';
  if (record.RicevutoQRY) flags += 'Q';
  if (record.RicevutoNODATA) flags += 'N';
  if (record.ChiusuraRemota) flags += 'K';
  return flags;
}

TEST(Splitting, DeliversFieldsAndObeysWords) {
  const struct {
    const char* message;
    std::vector<std::string> delivered;
    const char* flags;
    std::vector<std::string> queued = {};
  } rows[] = {
      {"0000053|HELLO|9CMD|9.|", {"HELLO"}, "C"},
      {"0000054|HELLO|9CMD|9.|9ACK|", {"HELLO"}, "AC"},
      {"0000052|9!|9.|", {}, "", {"9OKAY000"}},
      {"0000053|9!|9!|9.|", {}, "", {"9OKAY000", "9OKAY000"}},
      {"0000052|9STAY000|9.|", {}, "", {"9!"}},
      {"0000053|A|9CMD|9.|", {}, "C"},
      {"0000053|A|B|9.|", {}, ""},
      {"0000054|HE|LLO|9CMD|9.|", {"HE", "LLO"}, "C"},
      {"0000053|HE|LLO|9CMD|9.|", {"HE", "LLO"}, "C"},
      {"0000051|9K|9NODATA|", {}, "K"},
      {"0000052|9K|9NODATA|", {}, "NK"},
      {"0000052|9QRY|9.|", {}, "Q"},
      {"0000055|9VERSION2|9VER|9VE|9DATA001|9DATA000|", {"9VE", "9DATA001"}, ""},
      {"0000053|9OKAY000X|9ack|9XYZ|", {"9OKAY000X", "9ack", "9XYZ"}, ""},
      {"0000054|9@x|9RXy|9DBG|9FIRM6|", {"9FIRM6"}, ""},
      {"0000050|HELLO|9CMD|", {}, ""},
      {"000005/|HELLO|9CMD|", {}, ""},
      {"000005\xff|HELLO|9CMD|9.|", {"HELLO"}, "C"},
      {"0000053xHELLO|9CMD|9.|", {}, ""},
      {"000005F|||||9CMD|", {}, "C"},
      {"xxxxxx2|tail|unclosed", {"tail", "unclosed"}, "C"},
      {"0000052|9K|", {}, ""},
      {"0000051|9K|9", {}, "K"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.message);
    StubHost host;
    const std::int16_t link = host.addConnected(true);
    host.record(link).ChiusuraRemota = std::string(row.message).size() > 11;  // asked for earlier
    DividiMessaggio(host.library, host.record(link), row.message);
    EXPECT_THAT(host.inbound(link), ElementsAreArray(row.delivered));
    EXPECT_EQ(flagsOf(host.record(link)), row.flags);
    std::vector<std::string> queued;
    while (host.record(link).CodaInvio.Count > 0) queued.push_back(BufferGet(host.record(link).CodaInvio));
    EXPECT_THAT(queued, ElementsAreArray(row.queued));
  }
}

TEST(Splitting, CountsAsALifeSignFromTwelveCharactersOn) {
  const struct {
    const char* message;
    bool reported;
    std::vector<std::string> inbound;
    std::int16_t expiries;
  } rows[] = {{"0000051|9.|", true, {}, 1},  // 11 characters
              {"0000051|9.||", true, {"112", "992"}, 0},
              {"0000051|9.|", false, {"701 127.0.0.1:20308"}, 0},  // the report itself re-arms
              {"0000051|9.||", false, {"701 127.0.0.1:20308", "112", "992"}, 0}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.message);
    StubHost host;
    ConnectionRecord& record = host.record(host.addConnected(true));
    record.ConnessioneSegnalata = row.reported;
    record.NonRispondeSegnalato = record.AnomaliaSegnalata = true;
    record.ContaAlive = 1;
    DividiMessaggio(host.library, record, row.message);
    EXPECT_THAT(host.inbound(record.IdxQuarn), ElementsAreArray(row.inbound));
    EXPECT_EQ(record.ContaAlive, row.expiries);
  }
}

TEST(Splitting, KeepsTo16BitPositions) {
  const struct {
    const char* name;
    std::size_t length;
    const char* tail;  // of a single field that fills the message
    std::size_t deliveredLength;
    bool overflow;
  } rows[] = {{"one field to the last character", 32'767, "", 32'759, true},
              {"closed by the last character", 32'767, "|", 32'758, false},
              {"one character shorter", 32'766, "", 32'758, false},
              {"one character longer", 32'768, "", 0, true}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    StubHost host;
    ConnectionRecord& record = host.record(host.addConnected(false));
    std::string message = "0000051|" + std::string(row.length - 8, 'x');
    message.replace(message.size() - std::string(row.tail).size(), std::string::npos, row.tail);
    DividiMessaggio(host.library, record, message);
    const auto delivered = host.inbound(record.IdxQuarn);
    EXPECT_EQ(delivered.empty() ? 0 : delivered[0].size(), row.deliveredLength);
    const auto traces = host.happened();
    EXPECT_EQ(!traces.empty() && traces.back() == "P:Errore: 6 error DividiMessaggio", row.overflow);
  }
}

TEST(Splitting, DropsReceivedBytesButNotTheUnfinishedFrame) {
  StubHost host;
  ConnectionRecord& record = host.record(host.addConnected(true));
  record.Ricevuto.append("abc");
  record.FrameInCorso.append("\2xy");
  record.InFrame = record.FrameCompleto = true;
  record.UltimoErrore = "10054 ErrorCode:10054";
  ScartaRicezione(host.library, 1);
  EXPECT_THAT(host.happened(), ElementsAre("SCARTO:abc"));
  EXPECT_TRUE(record.Ricevuto.empty());
  EXPECT_FALSE(record.FrameCompleto);
  EXPECT_TRUE(record.InFrame);
  EXPECT_EQ(record.FrameInCorso.text(), "\2xy");
  EXPECT_NE(record.UltimoErrore, "");
  AzzeraRicezione(host.library, 1);
  EXPECT_THAT(host.happened(), ElementsAre("SCARTO:"));
  EXPECT_EQ(record.UltimoErrore, "");
}

}  // namespace
}  // namespace quarnex::test
