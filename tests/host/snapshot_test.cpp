// LinkSnapshot: the sentence about a link, and each failure as a value, in words and in the reports.
#include "quarnex/link_snapshot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>

#include "support/stub_host.h"

namespace quarnex::test {
namespace {

constexpr const char* kMessage = "0000052|9NODATA|9.|";

// Connects a client link at 08:39:32; its first query is still unanswered at 08:39:38.
void overdueAnswer(StubHost& host) {
  host.connect(1);
  for (const int seconds : {0, 6}) host.tickAfter(seconds);
}

TEST(Snapshot, DescribesTheStateInOneSentence) {
  const struct {
    bool client;
    void (*bring)(StubHost& host);
    const char* why;
  } rows[] = {
      {true, [](StubHost& host) { host.socket("ClientSocket").inner->settings.state = 1; },
       "down since 08:39:21: not connected yet; next call at 08:39:32"},
      {true, [](StubHost& host) { host.tickAfter(11); },
       "down since 08:39:21: not connected yet; calling 127.0.0.1:20308 until 08:40:33"},
      {false, [](StubHost& host) { host.tickAfter(11); },
       "down since 08:39:21: not connected yet; listening on port 20308 until 08:40:33"},
      {false,
       [](StubHost& host) {
         host.tickAfter(11);
         host.failing.insert({"localPort ServerSocket", Failure(5, "boom")});
       },
       "down since 08:39:21: not connected yet; listening until 08:40:33"},
      {true, [](StubHost& host) { overdueAnswer(host); },
       "connected to 127.0.0.1:20308 since 08:39:32; no message from the peer yet"},
      {true,
       [](StubHost& host) {
         host.connect(1);
         host.receive(1, kMessage);
       },
       "connected to 127.0.0.1:20308 since 08:39:32"},
      {true,
       [](StubHost& host) {
         host.connect(1);
         host.receive(1, kMessage);
         for (const int seconds : {1, 0, 6}) host.tickAfter(seconds);
       },
       "connected to 127.0.0.1:20308 since 08:39:32; the peer does not answer"},
      {false,
       [](StubHost& host) {
         host.connect(1);
         host.receive(1, kMessage);
         host.tickAfter(16);
       },
       "connected to 127.0.0.1:20308 since 08:39:32; the peer does not answer"},
      {true,
       [](StubHost& host) {
         overdueAnswer(host);
         host.events().onClose(SocketArray::ClientSocket, 1, 0);
         host.tickAfter(21);
         host.events().onConnect(SocketArray::ClientSocket, 1, 0);
       },
       "connected to 127.0.0.1:20308 since 08:39:59; no message from the peer yet"},
      {false,
       [](StubHost& host) {
         host.connect(1);
         host.receive(1, kMessage);
         host.tickAfter(16);
         host.events().onAccept(SocketArray::ServerSocket, 1, 9, 0);
       },
       "connected to 127.0.0.1:20308 since 08:39:48; no message from the peer yet"},
      {false,
       [](StubHost& host) {
         host.tickAfter(11);
         host.tickAfter(61);
       },
       "down since 08:39:21: nobody called within 60 seconds (while listening, at 08:40:33); listens again "
       "at 08:40:44"},
      {true,
       [](StubHost& host) {
         host.tickAfter(11);
         host.events().onConnect(SocketArray::ClientSocket, 1, 0);
         host.quarn.Chiudi(1);
       },
       "connected to 127.0.0.1:20308 since 08:39:32; no message from the peer yet; the peer has been "
       "asked to close"},
      {true,
       [](StubHost& host) {
         host.tickAfter(11);
         host.events().onConnect(SocketArray::ClientSocket, 1, 0);
         host.tickAfter(0);
         host.quarn.Uscita();
         host.failing.insert({"send ClientSocket", Failure(10057, "boom")});
         host.tickAfter(1);
       },
       "closed during shutdown: sending failed: error 10057, boom (while connected, at 08:39:33)"},
      {true, [](StubHost& host) { host.quarn.Uscita(); }, "closed by the host since 08:39:21"},
  };
  for (const auto& row : rows) {
    StubHost host;
    host.addOpen(row.client);
    row.bring(host);
    EXPECT_EQ(host.quarn.snapshot(1).why, row.why);
  }
}

TEST(Snapshot, DescribesLinksThatCannotConnect) {
  StubHost host;
  const LinkSnapshot local = host.quarn.snapshot(host.quarn.Add("A", 1, true, false));
  EXPECT_EQ(local.endpoint + ": " + local.why, "Buffer: works inside the process, without TCP");
  const std::int16_t unopened = host.quarn.Add("A", 2, true, true);
  host.quarn.Uscita();
  EXPECT_EQ(host.quarn.snapshot(unopened).why, "not opened");
  const std::int16_t portless = host.quarn.Add("A", 12668, true, true);
  host.quarn.Apri(portless);
  EXPECT_THAT(host.quarn.snapshot(portless).why, testing::HasSubstr("identifier 12668 has no port"));
}

TEST(Snapshot, NamesThePhases) {
  StubHost host;
  const std::int16_t link = host.quarn.Add("MIRTAN", 5, false, true);
  const auto phase = [&] { return std::string(nameOf(host.quarn.snapshot(link).phase)); };
  EXPECT_EQ(phase(), "closed");
  EXPECT_EQ(host.quarn.snapshot(link).why, "not opened");
  host.quarn.Apri(link);
  EXPECT_EQ(phase(), "waiting");
  EXPECT_EQ(host.quarn.snapshot(link).why,
            "down since 08:39:21: not connected yet; listens again at 08:39:32");
  host.tickAfter(11);
  EXPECT_EQ(phase(), "listening");
  host.events().onAccept(SocketArray::ServerSocket, 1, 9, 0);
  EXPECT_EQ(host.quarn.snapshot(link).why,
            "connected to 127.0.0.1:20308 since 08:39:32; no message from the peer yet");
  host.events().onClose(SocketArray::SrvAccept, 1, 10054);
  host.happened();
  EXPECT_EQ(host.quarn.snapshot(link).why,
            "down since 08:39:32: error 10054, the connection was reset by the peer (while connected, at "
            "08:39:32); "
            "listens again at 08:39:43");
  EXPECT_THAT(host.happened(), testing::IsEmpty());
}

struct FailureRow {
  bool client;
  void (*bring)(StubHost& host);
  FailureKind kind;
  std::int32_t number;
  const char* text;
  LinkPhase phase;
  const char* name;
  const char* words;
  const char* reported;  // the reason in the report 991, nullptr if there is no report
};

void failAt(StubHost& host, const char* operation, std::int32_t number, const char* text) {
  host.failing.insert({operation, Failure(number, text)});
  host.tickAfter(11);
}

const FailureRow kFailures[] = {
    {false, [](StubHost& host) { failAt(host, "listen ServerSocket", 10048, "Address already in use"); },
     FailureKind::ListenFailed, 10048, "Address already in use", LinkPhase::Listening, "listen-failed",
     "listening failed: error 10048, Address already in use", "Listen 10048 Address already in use"},
    {true, [](StubHost& host) { failAt(host, "connect ClientSocket", 70'000, "boom"); },
     FailureKind::CallNotStarted, 70'000, "boom", LinkPhase::Calling, "call-not-started",
     "the call could not be started: error 70000, boom", "Connect 70000 boom"},
    {true,
     [](StubHost& host) {
       host.connect(1);
       failAt(host, "send ClientSocket", -7, "minus");
     },
     FailureKind::SendFailed, -7, "minus", LinkPhase::Connected, "send-failed",
     "sending failed: error -7, minus", "Send -7 minus"},
    {true,
     [](StubHost& host) {
       host.tickAfter(11);
       host.events().onConnect(SocketArray::ClientSocket, 1, 10061);
     },
     FailureKind::CallFailed, 10061, "", LinkPhase::Calling, "call-failed",
     "error 10061, The requested connection has been refused by the remote host",
     "10061  The requested connection has been refused by the remote host."},
    {false,
     [](StubHost& host) {
       host.tickAfter(11);
       host.events().onAccept(SocketArray::ServerSocket, 1, 0, 10024);
     },
     FailureKind::AcceptFailed, 10024, "", LinkPhase::Listening, "accept-failed",
     "error 10024, no descriptors are left", "10024 ErrorCode:10024"},
    {false,
     [](StubHost& host) {
       for (const int seconds : {11, 61}) host.tickAfter(seconds);
     },
     FailureKind::ListenTimeout, 0, "", LinkPhase::Listening, "listen-timeout",
     "nobody called within 60 seconds", "Listen Timeout"},
    {true,
     [](StubHost& host) {
       for (const int seconds : {11, 61}) host.tickAfter(seconds);
     },
     FailureKind::ConnectTimeout, 0, "", LinkPhase::Calling, "connect-timeout",
     "the call was not answered within 60 seconds", "Connect Timeout"},
    {false,
     [](StubHost& host) {
       host.connect(1);
       for (const int seconds : {16, 16}) host.tickAfter(seconds);
     },
     FailureKind::KeepAliveTimeout, 0, "", LinkPhase::Connected, "keep-alive-timeout",
     "no message came from the peer for 2 keep-alive periods", "Alive Timeout"},
    {true,
     [](StubHost& host) {
       host.connect(1);
       for (int overdue = 0; overdue < 6; ++overdue) {
         host.record(1).ScadenzaAlive.second = host.time.second + 60;
         for (const int seconds : {0, 6}) host.tickAfter(seconds);
       }
     },
     FailureKind::ReplyTimeout, 0, "", LinkPhase::Connected, "reply-timeout",
     "6 answers in a row were overdue", "Timeout HandleStato_B"},
    {true,
     [](StubHost& host) {
       host.connect(1);
       host.events().onClose(SocketArray::ClientSocket, 1, 0);
     },
     FailureKind::ClosedByPeer, 0, "", LinkPhase::Connected, "closed-by-peer",
     "the peer closed the connection", nullptr},
    {false,
     [](StubHost& host) {
       host.connect(1);
       host.events().onClose(SocketArray::SrvAccept, 1, 10099);
     },
     FailureKind::ConnectionBroken, 10099, "", LinkPhase::Connected, "connection-broken", "error 10099",
     nullptr},
    {false,
     [](StubHost& host) {
       host.connect(1);
       host.receive(1, "0000053|9K|9CMD|9.|");
     },
     FailureKind::PeerAskedToClose, 0, "", LinkPhase::Connected, "peer-asked-to-close",
     "the peer asked to close", nullptr},
};

TEST(LinkFailures, AreKeptAsValuesAndPutIntoWordsAndReports) {
  std::set<FailureKind> kinds;
  for (const FailureRow& row : kFailures) {
    SCOPED_TRACE(row.name);
    kinds.insert(row.kind);
    StubHost host;
    host.addOpen(row.client);
    EXPECT_FALSE(host.quarn.snapshot(1).lastFailure);
    row.bring(host);
    const LinkSnapshot link = host.quarn.snapshot(1);
    ASSERT_TRUE(link.lastFailure);
    EXPECT_EQ(link.lastFailure->kind, row.kind);
    EXPECT_EQ(link.lastFailure->number, row.number);
    EXPECT_EQ(link.lastFailure->text, row.text);
    EXPECT_EQ(link.lastFailure->phase, row.phase);
    EXPECT_EQ(link.lastFailure->at, host.time.second);
    EXPECT_STREQ(nameOf(link.lastFailure->kind), row.name);
    EXPECT_EQ(inWords(*link.lastFailure), row.words);
    EXPECT_THAT(link.why, testing::HasSubstr(std::string(": ") + row.words + " (while "));
    const auto reports = host.inbound(1);
    const auto report =
        std::ranges::find_if(reports, [](const auto& item) { return item.starts_with("991"); });
    ASSERT_EQ(report != reports.end(), row.reported != nullptr);
    if (row.reported != nullptr) {
      EXPECT_THAT(*report, testing::EndsWith(std::string(":20308 ") + row.reported));
    }
  }
  EXPECT_EQ(kinds.size(), static_cast<std::size_t>(FailureKind::PeerAskedToClose) + 1);
}

}  // namespace
}  // namespace quarnex::test
