// Attacks one link in every way: no line in the recording of another link changes.
#include <gmock/gmock.h>

#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "recording/recorder/recorder.h"
#include "simulation/pair.h"
#include "simulation/peers/hostile_bytes.h"

namespace quarnex::simulation {
namespace {

using Attack = std::function<void(ScriptedPeer& attacker)>;

// The recorded lines of link 2 while a stranger attacks link 1.
std::string recordingOfLink2(const Attack& attack, int times) {
  const auto sink = std::make_shared<recording::MemorySink>();
  Pair pair(9);
  ScriptedPeer& attacker = pair.world.addPeer();
  pair.server.makeWrapper = [&] { return std::make_unique<recording::ServicesRecorder>(sink); };
  pair.server.start();
  pair.server.quarn().Init("");
  pair.server.quarn().Add("ABC", 1, false, true);
  for (Host* host : pair.hosts) host->quarn().Add("ABC", 2, host == &pair.client, true);
  pair.open();
  pair.server.quarn().Apri(2);
  for (int second = 0; second < 120; ++second) {
    if (second % 7 == 0) pair.server.quarn().Invia(2, "from the server");
    if (second % 5 == 0) pair.client.quarn().Invia(1, "from the client");
    if (second >= 12 && !attacker.connected()) attacker.call(20101);
    pair.world.runMilliseconds(1);
    for (int i = 0; i < times && second >= 12; ++i) attack(attacker);
    attacker.bytes.clear();
    pair.world.runMilliseconds(999);
  }
  std::string lines;
  std::istringstream in(sink->text());
  for (std::string line; std::getline(in, line);)
    if (line.starts_with("{\"trace\":2,") || line.find("\"index\":2") != line.npos) lines += line + '\n';
  return lines;
}

TEST(HostileNeighbour, ChangesNoLineOfAnotherLinksRecording) {
  Random random(7);
  const std::string frame = wire::frame(wire::message(1, {"flood", "9CMD", "9."}));
  const std::vector<std::string> closeRequest{"9K", "9CMD", "9."};
  std::string endless(500'000, 'x');
  endless.front() = '\2';
  std::string backlog;
  for (int i = 0; i < 2000; ++i) backlog += frame;
  const struct {
    const char* name;
    Attack attack;
    int times = 1;  // a second
  } rows[] = {
      {"hostile bytes", [&](auto& peer) { peer.send(anyAttack(random).bytes(random, 1)); }, 5},
      {"a frame without an end", [&](auto& peer) { peer.send(endless); }},
      {"a backlog of frames", [&](auto& peer) { peer.send(backlog); }},
      {"resets", [](auto& peer) { peer.reset(); }},
      {"many calls at once", [](auto& peer) { peer.call(20101); }, 20},
      {"requests to close", [&](auto& peer) { peer.sendMessage(1, closeRequest); }},
      {"never reading",
       [&](auto& peer) {
         peer.setReading(false);
         peer.send(frame);
       }},
  };
  const auto undisturbed = recordingOfLink2([](auto&) {}, 0);
  EXPECT_GT(undisturbed.size(), 50'000U);
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_TRUE(recordingOfLink2(row.attack, row.times) == undisturbed);
  }
}

TEST(HostileNeighbour, IsNotNoticedIfItMayNotCall) {
  Pair pair;
  pair.add();
  pair.server.quarn().allowCallers(1, {"10.0.0.9"});
  pair.open();
  const auto link = [&] { return pair.server.quarn().snapshot(1); };
  EXPECT_TRUE(pair.world.runUntil([&] { return link().callersRefused == 2; }, kRecoverySeconds));
  EXPECT_EQ(link().phase, LinkPhase::Listening);
  EXPECT_THAT(link().why, testing::EndsWith("; refused 2 callers"));
  EXPECT_TRUE(Pair::take(pair.server).empty());
}

}  // namespace
}  // namespace quarnex::simulation
