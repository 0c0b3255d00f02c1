// Tests when a connected link receives and sends, and the answers after a damaged frame or many messages.
#include "engine/exchange/handler.h"

#include <gmock/gmock.h>

#include <string>

#include "engine/exchange/receiving.h"
#include "engine/exchange/sending.h"
#include "engine/message/outbound.h"
#include "engine/records/memory_budget.h"
#include "support/stub_host.h"

namespace quarnex::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

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
