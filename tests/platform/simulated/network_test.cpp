// Tests the simulated network, clock and files: which bytes arrive, when, and how connections end.
#include <gmock/gmock.h>

#include <functional>
#include <string>
#include <vector>

#include "simulation/faults/tampering.h"
#include "simulation/sites/world.h"

namespace quarnex::simulation {
namespace {

using namespace simulated;
using testing::ElementsAre;

// A caller and a listener on one port. Shows received bytes after their time of arrival: "0:ab 40:c".
class NetworkTest : public testing::Test {
 protected:
  void join() {
    listener.listen(5000);
    caller.call(5000);
    world.runMilliseconds(300);
    ASSERT_TRUE(caller.connected() && listener.connected());
    start = world.time().now();
  }
  std::string arrivals(Milliseconds during) {
    std::string all;
    for (std::size_t seen = 0; world.time().now() < start + during; world.runMilliseconds(10)) {
      world.runDue();
      if (listener.bytes.size() == seen) continue;
      all += (all.empty() ? "" : " ") + std::to_string(world.time().now() - start) + ':' +
             listener.bytes.substr(seen);
      seen = listener.bytes.size();
    }
    return all;
  }
  Connection& connection() { return *world.network().connections().at(0); }

  World world{5};
  ScriptedPeer& listener = world.addPeer();
  ScriptedPeer& caller = world.addPeer();
  Milliseconds start = 0;
};

struct Transmission {
  const char* name;
  Conditions conditions;
  Tamper tamper;
  const char* arrivals;  // of the sends "abc" at 0, "def" at 0, "ghi" at 100
  int ending;
};

class Transmissions : public NetworkTest, public testing::WithParamInterface<Transmission> {};

TEST_P(Transmissions, DeliverBytesAtTheirTimes) {
  world.network().onConnection = [](Connection& made) { made.caller.conditions = GetParam().conditions; };
  join();
  caller.end()->tamper = GetParam().tamper;
  caller.send("abc");
  caller.send("def");
  world.time().at(start + 100, [&] { caller.send("ghi"); });
  EXPECT_EQ(arrivals(600), GetParam().arrivals);
  EXPECT_EQ(listener.ending(), GetParam().ending);
}

// Of each send the first two bytes arrive, and the connection ends.
Tamper endingWith(Piece::Ending ending) {
  return [=](std::string_view sent) {
    return std::vector<Piece>{{std::string(sent.substr(0, 2)), 0, ending}};
  };
}

const Tamper kChain = inTurn({cuttingAt(1, 50), dripping(40)});

INSTANTIATE_TEST_SUITE_P(
    Of, Transmissions,
    testing::Values(Transmission{"Directness", {}, {}, "0:abcdef 100:ghi", -1},
                    Transmission{"Delay", {.delay = 150}, {}, "150:abcdef 250:ghi", -1},
                    Transmission{"Joining", {.quantum = 400}, {}, "100:abcdefghi", -1},
                    Transmission{"TakingTwo", {.takenAtOnce = 2}, {}, "0:ab 50:cd 100:ef 150:gh 200:i", -1},
                    Transmission{"Cutting", {}, cuttingAt(1, 50), "0:a 50:bcdef 100:g 150:hi", -1},
                    Transmission{"Dripping", {}, dripping(40), "0:a 40:b 80:cdef 100:g 140:h 180:i", -1},
                    Transmission{"AClose", {}, endingWith(Piece::Ending::Orderly), "0:ab", 0},
                    Transmission{"AReset", {}, endingWith(Piece::Ending::Reset), "", 10054},
                    Transmission{"AChain", {}, kChain, "0:a 50:b 90:cdef 100:g 150:h 190:i", -1}),
    [](const auto& row) { return row.param.name; });

TEST_F(NetworkTest, HeldBytesArriveAtTheRelease) {
  join();
  connection().caller.hold();
  caller.send("abc");
  caller.close();
  world.time().at(start + 200, [this] { connection().caller.release(); });
  EXPECT_EQ(arrivals(400), "200:abc");
  EXPECT_EQ(listener.ending(), 0);
}

TEST_F(NetworkTest, AHalfOpenConnectionResetsASenderThatCanReceive) {
  for (const bool held : {true, false}) {
    join();
    if (held) connection().caller.hold();
    connection().called.cut(kConnectionReset);  // reset for the caller only
    world.run(1);
    EXPECT_EQ(caller.ending(), kConnectionReset);
    EXPECT_TRUE(listener.connected());
    listener.send("anybody there?");
    world.run(1);
    EXPECT_EQ(listener.ending(), held ? -1 : kConnectionReset);
    listener.reset();
    listener.stopListening();
  }
}

TEST_F(NetworkTest, MachinesHaveTheirOwnPorts) {
  listener.listen(5000);
  ScriptedPeer& elsewhere = world.addPeer(2);
  elsewhere.call(5000);
  world.run(1);
  EXPECT_EQ(elsewhere.ending(), kConnectionRefused);
  EXPECT_EQ(dottedAddress(1, 1), "127.0.0.1");
  EXPECT_EQ(dottedAddress(258, 1), "10.0.1.2");
  EXPECT_EQ(machineAt("127.0.0.1", 7), 7);
  EXPECT_EQ(machineAt("10.0.1.2", 7), 258);
  for (const char* text : {"", "1.2.3", "1.2.3.4.5", "1.2.3.256", "a.b.c.d", "1.2.3.4 "})
    EXPECT_EQ(machineAt(text, 1), std::nullopt) << text;
}

TEST_F(NetworkTest, AFullWindowMakesBytesWaitAtTheSender) {
  world.network().onConnection = [](Connection& made) { made.caller.conditions.window = 1000; };
  join();
  listener.setReading(false);
  caller.send(std::string(5000, 'x'));
  world.run(10);
  EXPECT_EQ(caller.end()->unsent(), 4000U);
  listener.setReading(true);
  world.run(10);
  EXPECT_EQ(listener.bytes, std::string(5000, 'x'));
  EXPECT_EQ(caller.end()->unsent(), 0U);
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
  EXPECT_THROW(file.create(std::string("a\0b", 3)), Failure);
  file.write("to nowhere\n");
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
