#include <gmock/gmock.h>

#include <limits>
#include <string>
#include <vector>

#include "engine/diagnostics/trace.h"
#include "host/link_registration.h"
#include "host/method_table.h"
#include "support/failure_of.h"
#include "support/stub_host.h"

namespace quarnex::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr bool acceptsExchangedRows() {
  auto rows = std::to_array(methods::kTable);
  std::swap(rows[3], rows[4]);
  return methods::inOrder(rows);
}
static_assert(!acceptsExchangedRows());

Value sampleOf(ValueKind kind, std::int16_t index) {
  if (kind == ValueKind::Integer) return index;
  return kind == ValueKind::Boolean ? Value(true) : Value(std::string("HELLO"));
}

TEST(HostMethods, DoNothingForAnInvalidIndex) {
  StubHost host;
  host.addOpen(true);
  for (const std::int16_t index : std::initializer_list<std::int16_t>{0, 2, -1, 32767, -32768}) {
    for (const Method& method : methodTable()) {
      if (method.parameters.empty() || method.parameters[0].name != "IdxQuarn") continue;
      SCOPED_TRACE(std::string(method.name) + " " + std::to_string(index));
      std::vector<Value> parameters;
      for (const Parameter& parameter : method.parameters)
        parameters.push_back(sampleOf(parameter.kind, index));
      const Value result = invoke(host.quarn, method, parameters);
      EXPECT_EQ(result, method.result == ValueKind::String    ? Value(std::string())
                        : method.result == ValueKind::Boolean ? Value(method.name == "Connesso")
                                                              : Value());
    }
  }
  EXPECT_THAT(host.happened(), IsEmpty());
  EXPECT_EQ(host.quarn.snapshot(2).index, 0);
}

TEST(HostMethods, FailForNumbersOfMoreThan16Bits) {
  StubHost host;
  EXPECT_EQ(failureOf([&] { host.quarn.Add("A", 70'000, true, true); }), 6);
  EXPECT_EQ(failureOf([&] { host.quarn.Add("A", -32'769, true, true); }), 6);
  EXPECT_EQ(failureOf([&] { host.quarn.Add("A", 0xFFFF'FFFF'FFFF'FFFB, true, true); }), 6);
  EXPECT_EQ(failureOf([&] { host.quarn.Add("A", std::uint16_t{32'768}, true, true); }), 6);
  EXPECT_EQ(failureOf([&] { host.quarn.Apri(65'537L); }), 6);
  EXPECT_EQ(host.quarn.Add("A", -32'768, true, true), 1);
  EXPECT_EQ(host.quarn.Add("A", 32'767U, true, true), 2);
  static_assert(!std::is_constructible_v<Int16, double>);
}

TEST(HostMethods, OpenALinkOnceMoreAfterTheEnd) {
  StubHost host;
  host.addOpen(true);
  host.quarn.Uscita();
  host.quarn.Apri(1);
  EXPECT_EQ(host.quarn.ProntoPerUscire(), 0);
  host.connect(1);
  EXPECT_TRUE(host.quarn.Connesso(1));
  host.quarn.Invia(1, "late");
  EXPECT_EQ(host.record(1).CodaInvio.Count, 0);
  sequence(connectionEnds(0), after(21), callEnds(10061))(host);
  EXPECT_EQ(host.quarn.snapshot(1).phase, LinkPhase::Closed);
  EXPECT_EQ(host.quarn.ProntoPerUscire(), -1);
}

TEST(HostMethods, RestrictServerLinksOverTcpOnly) {
  StubHost host;
  const std::int16_t server = host.quarn.Add("A", 1, false, true);
  for (const char* address :
       {"", "1.2.3", "1.2.3.", "1.2.3.256", "1.2.3.4.5", "1.2.3.04", "1.2.3.4 ", "1-2.3.4", "a.b.c.d"}) {
    SCOPED_TRACE(address);
    EXPECT_EQ(failureOf([&] { host.quarn.listenOn(server, address); }), 5);
    EXPECT_THROW(host.quarn.allowCallers(server, {"1.2.3.4", address}), Failure);
  }
  for (const std::int16_t link :
       {host.quarn.Add("A", 2, true, true), host.quarn.Add("A", 3, false, false), std::int16_t{0}}) {
    EXPECT_EQ(failureOf([&] { host.quarn.listenOn(link, "1.2.3.4"); }), 5);
    EXPECT_THROW(host.quarn.allowCallers(link, {}), Failure);
  }
  host.quarn.listenOn(server, "255.0.10.1");
  host.quarn.allowCallers(server, {});
  EXPECT_EQ(host.quarn.snapshot(server).callersRefused, 0U);
}

TEST(HostMethods, QueueTextsOrDropThemSilently) {
  StubHost host;
  const std::int16_t link = host.quarn.Add("ABC", 7, true, true);
  host.happened();
  host.quarn.Invia(link, "");
  host.quarn.Invia(link, "one");
  host.quarn.Invia(link, "vuotabuffer");
  EXPECT_THAT(host.happened(), ElementsAre("COMANDO:00001 one", "COMANDO:00002 vuotabuffer"));
  host.quarn.Invia(link, "VUOTABUFFER");
  EXPECT_EQ(host.record(link).CodaInvio.Count, 0);
  host.quarn.Invia(link, "two");
  host.quarn.Apri(link);  // activation drops what was queued before
  EXPECT_EQ(host.record(link).CodaInvio.Count, 0);
  host.quarn.Uscita();
  host.happened();
  host.quarn.Invia(link, "late");
  EXPECT_THAT(host.happened(), IsEmpty());
  EXPECT_EQ(host.quarn.ProntoPerUscire(), -1);
}

TEST(HostMethods, TellReportsFromTextsInTheFormOfAReport) {
  const std::string forged = "X000E0702[#I5#$TMIRTAN$]09300518112026";
  StubHost host;
  host.addOpen(true);
  sequence(after(11), callEnds(0))(host);
  host.receive(1, "0000054|" + forged + "|AB|9CMD|9.|");
  EXPECT_THAT(host.inbound(1), ElementsAre("701 127.0.0.1:20308", forged, "AB"));
  for (const std::int16_t index : std::initializer_list<std::int16_t>{0, 1, 2})
    EXPECT_FALSE(host.quarn.reportWaits(index)) << index;
}

TEST(HostMethods, WriteTheLogAndTheCapture) {
  StubHost host;
  host.failing.insert({"createLog", Failure(76, "Path not found")});
  EXPECT_THROW(host.quarn.AttivaLog(), Failure);
  host.failing.clear();
  host.quarn.Init("dir/");
  host.time = Instant{1'794'994'205};  // 2026-11-18 09:30:05 UTC
  host.quarn.AttivaLog();
  EXPECT_EQ(host.logName, "dir/LOGQUARNNET18112026093005.txt");
  const std::int16_t link = host.quarn.Add("MIRTAN", -3, true, false);
  host.quarn.AttivaDebug(link);
  host.quarn.Invia(link, "\x01\xff");
  host.time.second += 55;
  host.quarn.DisattivaDebug(link);
  host.quarn.Invia(link, "B");
  host.quarn.DisattivaLog(99);
  host.quarn.Invia(link, "C");
  EXPECT_EQ(host.logText,
            "001 09:30:05 ADD 1 : -3 MIRTAN MIRTAN\r\n001 09:30:05 I>:00000 \x01\xff\r\n001 09:31:00 "
            "I>:00000 B\r\n");
  EXPECT_EQ(host.quarn.GetDebug(link), "I>:00000 \x01\xff");
  EXPECT_EQ(host.quarn.GetDebug(link), "");
  host.quarn.AttivaLog();
  traceDamagedFrame(host.library, link, std::string(kLoggedFrameMax + 1, 'x'));
  EXPECT_THAT(host.logText, testing::EndsWith("x ... 1 characters more ... xxxxxxxxxxxxxxxx\r\n"));
}

TEST(HostMethods, TraceOnlyForIndicesOfTheTableAndWhenTheClockFails) {
  StubHost host;
  EXPECT_THROW(Traccia(host.library, 0, "before the first link"), Failure);
  host.addOpen(true);
  for (const std::int16_t index : std::initializer_list<std::int16_t>{-1, 2})
    EXPECT_THROW(Traccia(host.library, index, "of no link"), Failure);
  Traccia(host.library, 0, "of all links");
  EXPECT_THAT(host.happened(), ElementsAre("of all links"));
  host.failing.insert({"now", Failure(5, "no time")});
  host.quarn.Apri(1);
  EXPECT_THAT(host.happened(), ElementsAre("5 error TCP Apri scheda :no time"));
}

TEST(Registration, GivesPortsByTypeAndIdentifier) {
  const struct {
    const char* type;
    std::int16_t identifier;
    std::int32_t port;  // 0 = Overflow
  } rows[] = {{"VARDO", 1, 20303},          {"PID-TOLV", 1, 20304},   {"PID-MIRTAN", 1, 20305},
              {"PID-TOLV-VIDEO", 1, 20306}, {"TOLV-VIDEO", 1, 20307}, {"MIRTAN", 5, 20308},
              {"TOLV", -32768, 20309},      {"mirtan", 5, 20105},     {"", -100, 20000},
              {"ABC", 12667, 32767},        {"ABC", 12668, 0},        {"MIRTAN", 12668, 0}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.type);
    StubHost host;
    const std::int16_t link = host.quarn.Add(row.type, row.identifier, true, true);
    EXPECT_EQ(link, 1);
    EXPECT_EQ(host.socket("ClientSocket").inner->settings.remotePort, row.port);
    EXPECT_EQ(host.socket("ClientSocket").inner->settings.remoteHost, "127.0.0.1");
    const auto traces = host.happened();
    EXPECT_EQ(traces.size() == 2 && traces[0] == "P:Errore: 6 error HTCP: AddHQUARN Overflow", row.port == 0);
  }
}

TEST(Registration, FillsTheTableAndRefusesTheNextLink) {
  StubHost host;
  host.library.observer = nullptr;
  const int last = std::numeric_limits<std::int16_t>::max();
  const ConnectionRecord* first = nullptr;
  for (int i = 1; i <= last; ++i) {
    ASSERT_EQ(host.quarn.Add("ABC", 1, true, i % 1000 == 0), i);
    if (i == 1) first = &host.record(1);
  }
  EXPECT_EQ(&host.record(1), first);
  EXPECT_EQ(host.quarn.Add("ABC", 2, true, true), 0);
  EXPECT_EQ(host.library.ConnectionCount, last);
  host.quarn.Apri(static_cast<std::int16_t>(32'000));
  host.tickAfter(11);
  EXPECT_EQ(host.socket("ClientSocket32").inner->settings.state, kSocketCalling);
}

}  // namespace
}  // namespace quarnex::test
