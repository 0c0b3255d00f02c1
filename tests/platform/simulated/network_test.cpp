// Tests the addresses of simulated machines, changes of sends, virtual time and simulated files. The network
// itself is tested by the contract suite, and by the hashes of seeded runs.
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "platform/simulated/simulated_files.h"
#include "platform/simulated/simulated_network.h"
#include "simulation/faults/tampering.h"

namespace quarnex::simulation {
namespace {

using namespace simulated;

TEST(Network, NamesMachinesByTheirAddresses) {
  EXPECT_EQ(dottedAddress(1, 1), "127.0.0.1");
  EXPECT_EQ(dottedAddress(258, 1), "10.0.1.2");
  EXPECT_EQ(machineAt("127.0.0.1", 7), 7);
  EXPECT_EQ(machineAt("10.0.1.2", 7), 258);
}

TEST(Tampering, AddsThePausesOfAChain) {
  std::string pieces;
  for (const Piece& piece : inTurn({cuttingAt(1, 50), dripping(40)})("abc"))
    pieces += std::to_string(piece.delay) + ':' + piece.bytes + ' ';
  EXPECT_EQ(pieces, "0:a 50:b 90:c ");
}

TEST(VirtualTime, ThrowsAtAMillionTasksInOneMillisecond) {
  VirtualTime time;
  int tasks = 0;
  std::function<void()> another = [&] { time.at(++tasks == 900'000 ? 1 : 0, another); };
  another();
  EXPECT_THROW(time.runUntil(1), TimeStandsStill);
  EXPECT_EQ(time.now(), 1);
}

TEST(MemoryFiles, DropLinesThatTheDiskRefuses) {
  Disk disk;
  MemoryFile file(disk);
  file.create("log");
  disk.failingWrite = 2;
  for (const char* line : {"one\n", "two\n", "three\n"}) file.write(line);
  disk.room = 4;
  file.rename("old");
  for (const char* line : {"too long\n", "four", "x"}) file.write(line);
  EXPECT_EQ(file.files.at("old"), "one\nthree\nfour");
  EXPECT_THROW(file.create("other"), Failure);
  disk.room = 100;
  file.keptMax = 8;
  file.write("five");
  EXPECT_EQ(file.files.at("old"), "fourfive");
}

}  // namespace
}  // namespace quarnex::simulation
