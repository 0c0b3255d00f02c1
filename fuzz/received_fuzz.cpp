// Fuzzes the receiving of a connected link and checks that it sends only valid frames. The first byte selects
// the link's role and the size of the pieces in which the rest arrives.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "frames.h"
#include "simulation/checks/independent/frame_format.h"
#include "support/stub_host.h"

namespace {

void require(bool holds) {
  if (!holds) std::abort();
}

}  // namespace

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t maxSize)
    __attribute__((weak));

// Repairs the checksums of seven mutated inputs in eight. Without repair, almost every mutation would end at
// the checksum.
extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned seed) {
  const std::size_t mutated = LLVMFuzzerMutate(data, size, maxSize);
  if (seed % 8 != 0 && mutated > 0) quarnex::fuzz::repairChecksums(data + 1, mutated - 1);
  return mutated;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  quarnex::test::StubHost host;
  const bool client = data[0] % 2 == 1;
  const std::size_t piece = 1 + data[0] / 2U;
  host.addConnected(client);
  host.quarn.Invia(1, "QUEUED");
  const std::string bytes(reinterpret_cast<const char*>(data + 1), size - 1);
  auto& socket = host.socket(client ? "ClientSocket" : "SrvAccept");
  for (std::size_t at = 0; at < bytes.size(); at += piece) socket.incoming.push_back(bytes.substr(at, piece));
  for (std::size_t tick = 0; tick < bytes.size() / piece + 8; ++tick) {
    host.tickAfter(tick % 5 == 0 ? 1 : 0);
    for (const std::string& line : host.happened())
      require(!line.starts_with("send ") ||
              quarnex::simulation::FrameFormat::flawOfFrame(line.substr(5), 5).empty());
    const quarnex::ConnectionRecord& record = host.record(1);
    require(record.InEsecuzione == -1 && (record.Stato == 1 || record.Stato == 17));
    require(record.StatoB >= 0 && record.StatoB <= 3 && !record.FrameCompleto);
  }
  return 0;
}
