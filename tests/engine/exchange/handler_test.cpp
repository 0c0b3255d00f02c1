// Tests the answers of a connected link by role, queued texts and received words.
#include "engine/exchange/handler.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "engine/exchange/receiving.h"
#include "engine/exchange/sending.h"
#include "engine/message/outbound.h"
#include "engine/records/memory_budget.h"
#include "support/stub_host.h"

namespace quarnex::test {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

TEST(Answers, FollowTheWordsInTheirOrder) {
  const struct {
    bool client;
    const char* queued;    // for the outbound queue, "" = nothing
    const char* lastSent;  // unacknowledged message
    const char* received;
    std::vector<std::string> answers;
    std::int16_t subState;
  } rows[] = {
      {true, "", "", "0000053|HELLO|9CMD|9.|", {"0000053|9ACK|9QRY|9.|"}, 2},
      {true, "MORE", "", "0000053|HELLO|9CMD|9.|", {"0000054|MORE|9CMD|9.|9ACK|"}, 2},
      {true, "MORE", "0000053|OLD|9CMD|9.|", "0000053|HELLO|9CMD|9.|", {"0000054|OLD|9CMD|9.|9ACK|"}, 2},
      {true, "", "0000053|OLD|9CMD|9.|", "0000052|9ACK|9.|", {}, 1},
      {true, "", "", "0000052|9NODATA|9.|", {}, 3},
      {true, "", "", "0000052|9QRY|9.|", {"0000052|9NODATA|9.|"}, 3},
      {false, "", "", "0000053|HELLO|9CMD|9.|", {"0000052|9ACK|9.|"}, 3},
      {false, "", "", "0000052|9QRY|9.|", {"0000052|9NODATA|9.|"}, 3},
      {false, "MORE", "", "0000052|9QRY|9.|", {"0000053|MORE|9CMD|9.|"}, 2},
      {false, "MORE", "0000053|OLD|9CMD|9.|", "0000052|9QRY|9.|", {"0000053|OLD|9CMD|9.|"}, 2},
      {false, "MORE", "0000053|OLD|9CMD|9.|", "0000053|9ACK|9QRY|9.|", {"0000053|MORE|9CMD|9.|"}, 2},
      {false, "", "", "0000054|HELLO|9CMD|9QRY|9.|", {"0000052|9ACK|9.|", "0000052|9NODATA|9.|"}, 3},
      {false, "", "", "0000055|9NODATA|9QRY|HELLO|9ACK|9.|", {"0000052|9ACK|9.|", "0000052|9NODATA|9.|"}, 3},
      {true, "", "", "0000052|9OKAY000|9.|", {}, 1},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.received);
    StubHost host;
    ConnectionRecord& record = host.record(host.addConnected(row.client));
    if (*row.queued != '\0') host.quarn.Invia(1, row.queued);
    record.UltimoInviato = row.lastSent;
    host.receive(1, row.received);
    EXPECT_THAT(host.sent(), ElementsAreArray(row.answers));
    EXPECT_EQ(record.StatoB, row.subState);
    EXPECT_TRUE(record.UltimoInviato.empty() || record.UltimoInviato == row.answers.back());
    EXPECT_EQ(record.RicevutoACK || record.RicevutoCMD || record.RicevutoQRY || record.RicevutoNODATA, false);
  }
}

TEST(Sending, SendsNothingThatIsNotDue) {
  StubHost host;
  ConnectionRecord& record = host.record(host.addConnected(true));
  InviaFrame(host.library, record, "");
  EXPECT_THAT(host.sent(), IsEmpty());
  record.StatoB = 4;  // no sub-state
  host.tickAfter(3);
  EXPECT_THAT(host.sent(), IsEmpty());
  record.Stato = kSocketPhase;
  record.AttesaRitrasmissione = 3;
  EXPECT_FALSE(ScegliInvio(host.library, record));
  EXPECT_EQ(record.AttesaRitrasmissione, 2);
  record.AttesaRitrasmissione = 1;  // though no batch was sent yet
  EXPECT_FALSE(ScegliInvio(host.library, record));
}

TEST(Receiving, LeavesTheBytesBehindACompleteFrame) {
  StubHost host;
  ConnectionRecord& record = host.record(host.addConnected(true));
  record.FrameCompleto = true;
  host.carrier(1).incoming.push_back("\2next\3");
  RiceviFrame(host.library, record);
  EXPECT_EQ(record.Ricevuto.text(), "\2next\3");
}

TEST(Receiving, FetchesWhileALinkHoldsNoMoreThanItMay) {
  const std::string left = "\2next\3";
  for (const std::size_t missing : {0U, 1U}) {
    StubHost host;
    ConnectionRecord& record = host.record(host.addConnected(true));
    record.FrameCompleto = true;
    host.carrier(1).incoming.push_back(left);
    RiceviFrame(host.library, record);
    host.library.limits.unhandled = left.size() - missing;
    host.carrier(1).incoming.push_back("more");
    RiceviFrame(host.library, record);
    EXPECT_EQ(record.Ricevuto.text(), missing == 0 ? left + "more" : left);
  }
}

TEST(Receiving, AcceptsAFrameUpToItsLimit) {
  StubHost host;
  ConnectionRecord& record = host.record(host.addConnected(true));
  host.carrier(1).incoming.push_back("\2long");
  RiceviFrame(host.library, record);
  for (const std::size_t missing : {0U, 1U}) {
    host.library.limits.frame = record.FrameInCorso.size() - missing;
    EXPECT_EQ(isFrameTooLong(host.library, record), missing > 0);
  }
}

TEST(Answers, AreNotSentForADamagedFrame) {
  StubHost host;
  ConnectionRecord& record = host.record(host.addConnected(true));
  record.StatoB = kExchangeWaiting;
  record.ContaTimeoutB = 4;
  host.carrier(1).incoming.push_back(
      "\0029999"
      "0000052|9QRY|9.|CP\3");
  host.tickAfter(0);
  EXPECT_THAT(
      host.happened(),
      ElementsAre(
          "RADV>99990000052|9QRY|9.|",
          "error cks> 02 39 39 39 39 30 30 30 30 30 35 32 7C 39 51 52 59 7C 39 2E 7C 43 50 03<> 43 4F",
          std::string(78, '+')));
  EXPECT_EQ(record.ContaTimeoutB, 0);
  EXPECT_EQ(record.StatoB, kExchangeWaiting);
  EXPECT_FALSE(record.FrameCompleto);
}

TEST(Batches, HoldTwentyTextsAndContinueAfterTheAcknowledgement) {
  StubHost host;
  host.addConnected(true);
  for (int i = 10; i < 35; ++i) host.quarn.Invia(1, std::to_string(i));
  host.happened();
  host.tickAfter(0);
  const auto first = host.sent();
  ASSERT_EQ(first.size(), 1U);
  EXPECT_TRUE(first[0].starts_with("000005F|10|11|") && first[0].ends_with("|29|9CMD|9.|"));
  EXPECT_TRUE(host.quarn.snapshot(1).batchInFlight);
  host.tickAfter(6);
  EXPECT_THAT(host.sent(), IsEmpty());
  host.tickAfter(0);
  EXPECT_EQ(host.sent(), first);  // overdue: the same again
  host.receive(1, "0000052|9ACK|9.|");
  host.tickAfter(0);
  EXPECT_THAT(host.sent(), ElementsAre("0000057|30|31|32|33|34|9CMD|9.|"));
}

// Each data frame that arrives while a message is unacknowledged appends one more "9ACK"; the count character
// goes to code 255 and no further.
TEST(Batches, CountAcknowledgementsUpToTheLastCode) {
  StubHost host;
  ConnectionRecord& record = host.record(host.addConnected(true));
  host.quarn.Invia(1, "DATA");
  host.tickAfter(0);
  std::string expected = "0000053|DATA|9CMD|9.|";
  ASSERT_EQ(record.UltimoInviato, expected);
  for (int count = '4'; count <= 257; ++count) {
    host.happened();
    host.receive(1, "0000053|HELLO|9CMD|9.|");
    expected += "9ACK|";
    if (count <= 255) expected[6] = static_cast<char>(count);
    ASSERT_EQ(record.UltimoInviato, expected);
    EXPECT_EQ(testing::Value(host.journal, testing::Contains("P:Errore: 5 error ETH Handler_ADV")),
              count > 255);
  }
  EXPECT_EQ(record.UltimoLotto, "0000053|DATA|9CMD|9.|");
}

TEST(Server, SendsOnlyWhenAsked) {
  StubHost host;
  ConnectionRecord& record = host.record(host.addConnected(false));
  host.quarn.Invia(1, "DATA");
  for (int tick = 0; tick < 10; ++tick) host.tickAfter(0);
  EXPECT_THAT(host.sent(), IsEmpty());
  record.UltimoInviato = "0000053|OLD|9CMD|9.|";
  host.tickAfter(0);
  EXPECT_THAT(host.sent(), ElementsAre("0000053|OLD|9CMD|9.|"));
}

// The first message of a connection reads the listening socket's remote host; a failed accept inside that
// call resets the record that held the frame.
TEST(Receiving, HandlesTheFrameAfterAReconnectionInsideASocketCall) {
  StubHost host;
  ConnectionRecord& record = host.record(host.addConnected(false));
  record.ConnessioneSegnalata = false;
  host.inside["remoteHost ServerSocket"] = [&] { callerArrives(10024)(host); };
  const std::string text(6000, 'q');
  host.receive(1, "0000053|" + text + "|9CMD|9.|");
  EXPECT_THAT(host.inbound(1), testing::Contains(text));
  EXPECT_EQ(record.Stato, kSocketPhase);
  EXPECT_FALSE(record.FrameCompleto);
}

}  // namespace
}  // namespace quarnex::test
