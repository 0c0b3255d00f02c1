// Each kind of assertion stops the process at once and names its place.
#include "services/assertion.h"

#include <gtest/gtest.h>

#include <thread>

#include "engine/exchange/sending.h"
#include "engine/records/record_operations.h"
#include "engine/records/text_buffer.h"
#include "engine/records/trap.h"
#include "support/stub_host.h"

namespace quarnex::test {
namespace {

struct Violation {
  const char* name;
  const char* place;  // of the assertion that detects it
  void (*plant)(StubHost& host, ConnectionRecord& record);
};

// Changes a frame through its trace: after it was made and before it is sent. It is made where the one before
// was.
struct FrameSpoiler final : Observer {
  explicit FrameSpoiler(Library& library) : frame(library.frameStorage.data()) { library.observer = this; }
  void traced(std::int16_t, std::string_view) override { *frame = 'x'; }

  char* frame;
};

const Violation kViolations[] = {
    {"index beyond the table", "connection_table.h:[0-9]+: assertion failed: holds",
     [](StubHost& host, ConnectionRecord&) { host.record(9).Stato = 1; }},
    {"index before the table", "connection_table.h",
     [](StubHost& host, ConnectionRecord&) { host.record(0).Stato = 1; }},
    {"record under another index", "tick.cpp",
     [](StubHost& host, ConnectionRecord& record) {
       const std::int16_t other = host.addOpen(false);
       record.IdxQuarn = other;
       host.tickAfter(0);
     }},
    {"instance of another link", "socket_events.cpp",
     [](StubHost& host, ConnectionRecord& record) {
       record.IdxClient = 2;
       host.events().onConnect(SocketArray::ClientSocket, 1, 0);
     }},
    {"guard with a third value", "tick.cpp",
     [](StubHost& host, ConnectionRecord& record) {
       record.InEsecuzione = 1;
       host.tickAfter(0);
     }},
    {"phase that does not exist", "record_operations.cpp",
     [](StubHost& host, ConnectionRecord& record) { ImpostaStato(host.library, record, 2, 10); }},
    {"phase without a time", "record_operations.cpp",
     [](StubHost& host, ConnectionRecord& record) { ImpostaStato(host.library, record, kConnected, 0); }},
    {"sub-state that does not exist", "record_operations.cpp",
     [](StubHost& host, ConnectionRecord& record) { ImpostaStatoB(host.library, record, 4); }},
    {"queue that counts a text it does not have", "text_buffer.cpp",
     [](StubHost&, ConnectionRecord& record) {
       record.CodaInvio.Count = 1;
       BufferPut(record.CodaInvio, "text");
     }},
    {"queue beyond its capacity", "text_buffer.cpp",
     [](StubHost&, ConnectionRecord& record) {
       BufferPut(record.CodaInvio, "text");
       record.CodaInvio.Capacity = 0;
       BufferDrop(record.CodaInvio);
     }},
    {"more bytes consumed than stored", "byte_queue.cpp",
     [](StubHost&, ConnectionRecord&) {
       ByteChunks bytes;
       bytes.append("text");
       bytes.consume(5);
     }},
    {"pending failure of a trap that is not listed", "trap.cpp",
     [](StubHost& host, ConnectionRecord&) {
       Trap first{host.library};
       first([] { throw Failure(5, "Invalid procedure call or argument"); });
       Trap second{host.library};
       second([] { throw Failure(5, "Invalid procedure call or argument"); });
       host.library.pendingTraps = nullptr;
       Trap third{host.library};
       third([] { throw Failure(5, "Invalid procedure call or argument"); });
       first.clear();
     }},
    {"frame without its start character", "sending.cpp",
     [](StubHost& host, ConnectionRecord& record) {
       host.connect(record.IdxQuarn);
       InviaComando(host.library, record, "QRY", "");
       const FrameSpoiler spoiler(host.library);
       InviaComando(host.library, record, "QRY", "");
     }},
    {"call from another thread", "quarn_socket.cpp",
     [](StubHost& host, ConnectionRecord&) { std::thread([&] { host.quarn.Chiudi(1); }).join(); }},
};

TEST(AssertionDeathTest, PlantedViolationStopsTheProcessAndNamesItsPlace) {
  for (const Violation& violation : kViolations) {
    SCOPED_TRACE(violation.name);
    const auto plant = [&] {
      StubHost host;
      violation.plant(host, host.record(host.addOpen(true)));
    };
    EXPECT_DEATH(plant(), violation.place);
  }
}

}  // namespace
}  // namespace quarnex::test
