// Attacks links for hours: memory stays within its limits, the host is told, and other links do not wait.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>

#include "engine/records/memory_budget.h"
#include "host/engine.h"
#include "services/plain_services.h"
#include "simulation/checks/memory_bound.h"
#include "simulation/pair.h"
#include "support/failure_of.h"

namespace quarnex::simulation {
namespace {

constexpr std::size_t kMiB = std::size_t{1} << 20;

// Hosts with a healthy link between them; a stranger attacks one more link of the server or of the client.
struct Attacked : Pair {
  explicit Attacked(const MemoryLimits& limits) {
    for (Host* host : hosts) host->quarn().setMemoryLimits(limits);
    add();
    server.quarn().Add("ABC", 7, false, true);
    client.quarn().Add("ABC", 8, true, true);
    open();
    server.quarn().Apri(2);
  }
  void letClientCallStranger() {
    server.quarn().Chiudi(2);
    stranger.listen(20108);
    client.quarn().Apri(2);
  }

  // Runs `attack` every second. A text each way over the healthy link needs at most three seconds.
  void run(int seconds, const std::function<void()>& attack) {
    for (int second = 0; second < seconds; ++second) {
      if (!stranger.connected()) stranger.call(20107);
      attack();
      world.run(1);
      peak = std::max(peak, server.library().bytesHeld);
      for (Host* host : hosts) {
        EXPECT_EQ(MemoryBound::beyondLimit(host->library()), "");
        EXPECT_EQ(MemoryBound::beyondLimit(host->library(), host->library().ConnectionTable[2]), "");
      }
      if (second % 10 != 5 || !connected()) continue;
      const std::int64_t start = world.time().now();
      EXPECT_TRUE(deliversBothWays());
      EXPECT_LT(world.time().now() - start, 4 * kSecond);
    }
  }
  void flood(int seconds, const std::string& bytes) {
    run(seconds, [&] {
      if (stranger.unsent() == 0) stranger.send(bytes);
    });
  }
  static bool failed(Host& host, FailureKind kind, std::int32_t number) {
    const auto failure = host.quarn().snapshot(2).lastFailure;
    return failure && failure->kind == kind && failure->number == number;
  }

  ScriptedPeer& stranger = world.addPeer();
  std::size_t peak = 0;
};

std::string many(const std::string& text, std::size_t bytes) {
  std::string all;
  while (all.size() < bytes) all += text;
  return all;
}

TEST(MemoryLimits, AFloodOfQueriesIsHeldBackAndLosesNothing) {
  Attacked site({});
  site.flood(3600, many(wire::frame(wire::message(7, {"9QRY", "9."})), std::size_t{5} * 65'536));
  EXPECT_GE(site.peak, kMiB);
  EXPECT_LE(site.peak, kMiB + 2 * kFetchBytesMax);
  const LinkSnapshot flooded = site.server.quarn().snapshot(2);
  EXPECT_GE(flooded.bytesHeld, kMiB);
  EXPECT_TRUE(flooded.limitSince);
  EXPECT_NE(flooded.why.find("; fetches nothing since"), std::string::npos) << flooded.why;
  EXPECT_EQ(flooded.badChecksums, 0U);
  site.stranger.reset();
  site.world.run(30);
  const LinkSnapshot after = site.server.quarn().snapshot(2);
  EXPECT_EQ(after.limitSince, std::nullopt);
  EXPECT_LT(after.bytesHeld, 1000U);
}

TEST(MemoryLimits, APeerThatNeverReadsMakesTheSendFail) {
  for (const bool called : {false, true}) {
    SCOPED_TRACE(called);
    Attacked site({.unsent = 10'000});
    Host& host = called ? site.client : site.server;
    if (called) site.letClientCallStranger();
    site.stranger.setReading(false);
    const auto message =
        called ? std::vector<std::string>{"more", "9CMD", "9."} : std::vector<std::string>{"9QRY", "9."};
    bool failed = false;
    site.run(3600, [&] {
      End* const end = host.sockets.end(called ? SocketArray::ClientSocket : SocketArray::SrvAccept, 2);
      if (end != nullptr) end->conditions.window = 10'000;
      if (called) host.quarn().Invia(2, "never acknowledged");
      for (int i = 0; i < 5; ++i) site.stranger.sendMessage(7, message);
      failed = failed || Attacked::failed(host, FailureKind::SendFailed, 10055);
    });
    EXPECT_TRUE(failed);
  }
}

TEST(MemoryLimits, AFrameWithoutEndFailsTheLink) {
  Attacked site({.frame = 4 * kMiB});
  bool failed = false;
  std::string piece(std::size_t{5} * 65'536, 'x');
  piece.front() = '\2';
  site.run(600, [&] {
    site.stranger.send(piece);
    piece.front() = site.stranger.connections() > 0 ? 'x' : '\2';
    failed = failed || Attacked::failed(site.server, FailureKind::FrameTooLong, 0);
  });
  EXPECT_TRUE(failed);
  EXPECT_LE(site.peak, 4 * kMiB + 2 * kFetchBytesMax);
}

TEST(MemoryLimits, TheProcessesPartIsSharedAndAFullOneDropsTheOldestItems) {
  Attacked site({.unhandled = 100'000, .frame = 100'000, .process = 800'000});
  site.server.quarn().AttivaDebug(2);
  const std::string texts =
      wire::frame(wire::message(7, {std::string(9'000, 'a'), std::string(9'000, 'b'), "9CMD", "9."}));
  site.flood(600, many(texts, 100'000));
  EXPECT_GE(site.peak, 250'000U);
  EXPECT_LE(site.peak, 400'000U);
  const auto items = Pair::take(site.server, 2);
  EXPECT_GT(items.size(), 5U);
  EXPECT_LT(items.size(), 50U);
}

TEST(MemoryLimits, AreSetBeforeTheFirstLinkAndLeaveRoomForAFrame) {
  Pair pair;
  const auto setting = [&](const MemoryLimits& limits) {
    return failureOf([&] { pair.server.quarn().setMemoryLimits(limits); });
  };
  for (const MemoryLimits& wrong :
       {MemoryLimits{.frame = 1000}, MemoryLimits{.process = 16 * kMiB}, MemoryLimits{.frame = SIZE_MAX},
        MemoryLimits{.unhandled = SIZE_MAX}, MemoryLimits{.unhandled = 90 * kMiB, .frame = 90 * kMiB}})
    EXPECT_EQ(setting(wrong), 5);
  EXPECT_EQ(setting({.process = 1024 * kMiB}), 0);
  pair.add();
  EXPECT_EQ(setting({}), 5);
}

TEST(MemoryLimits, AFrameThatWaitsCountsLikeTheBytesBehindIt) {
  PlainServices services;
  Engine library(services.all());
  ConnectionRecord record;
  record.Ricevuto.append("12345");
  record.FrameRicevuto = "123";
  countHeldBytes(library, record);
  EXPECT_EQ(library.bytesHeld, 8U);
}

TEST(MemoryLimits, TheLatestItemStaysHoweverLargeItIs) {
  PlainServices services;
  Engine library(services.all());
  library.limits.process = 4;
  ConnectionRecord record;
  BufferInit(record.CodaArrivo, 2);
  for (const char* text : {"first", "latest"}) BufferPut(record.CodaArrivo, text);
  keepWithinBudget(library, record);
  EXPECT_EQ(record.CodaArrivo.Count, 1);
  EXPECT_EQ(BufferGet(record.CodaArrivo), "latest");
}

struct NotedLimits : PlainServices {
  void limitOutput(std::size_t each, std::size_t all) override { noted = {each, all}; }
  std::pair<std::size_t, std::size_t> noted;
};

TEST(MemoryLimits, UnsentBytesMayFillAQuarterOfTheProcess) {
  NotedLimits services;
  Engine library(services.all());
  EXPECT_EQ(services.noted, std::pair(MemoryLimits{}.unsent, MemoryLimits{}.process / 4));
  library.setLimits({.unsent = kMiB, .process = 100 * kMiB});
  EXPECT_EQ(services.noted, std::pair(kMiB, 25 * kMiB));
}

}  // namespace
}  // namespace quarnex::simulation
