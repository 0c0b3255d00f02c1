// Breaks and reconnects the links of two hosts many times and checks that the process holds no more
// descriptors and memory afterwards. Each tick moves the clock by a second, so that the links' waits take no
// time.
#include <dirent.h>
#include <sys/socket.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "bench/process.h"
#include "bench/settable_clock.h"
#include "engine/records/frm_sock.h"
#include "host/engine.h"
#include "platform/posix/posix_platform.h"
#include "quarnex/link_snapshot.h"
#include "quarnex/quarn_socket.h"

namespace {

using namespace quarnex;
using namespace quarnex::bench;

constexpr int kFirstPort = 23000;
constexpr std::int16_t kTickMilliseconds = 2;
constexpr int kSilentSeconds = 40;              // longer than any link waits for a silent peer
constexpr int kTicksMax = 1000;                 // before a wait is given up
constexpr int kWarmUpRounds = 2 * kOutagesMax;  // two of three rounds are outages, which a link remembers
constexpr std::int64_t kGrowthMax = std::int64_t{64} * 1024;

class ReconnectingHost {
 public:
  ReconnectingHost(bool client, int links, SettableClock& clock) : clock_(clock) {
    quarn_.Init("");
    for (int i = 0; i < links; ++i) {
      const std::int16_t link = quarn_.Add("PEER", static_cast<std::int16_t>(i), client, true);
      const ConnectionRecord& record = library_.ConnectionTable[link];
      if (client) {
        ClientSocket(library_, record.IdxClient).setRemotePort(kFirstPort + i);
      } else {
        ServerSocket(library_, record.IdxServer).setLocalPort(kFirstPort + i);
      }
    }
    platform_.services().timer.setPeriod(kTickMilliseconds);
  }

  template <class Call>
  void each(Call call) {
    for (std::int16_t link = 1; link <= library_.ConnectionCount; ++link) call(quarn_, link);
  }
  /// Waits for the next tick, then takes all received items.
  void turn() {
    platform_.turn(std::chrono::milliseconds(5 * kTickMilliseconds));
    each([](QuarnSocket& quarn, std::int16_t link) {
      while (quarn.MessaggioArrivato(link)) quarn.GetMessaggioArrivato(link);
    });
  }
  int connected() {
    int count = 0;
    each([&](QuarnSocket& quarn, std::int16_t link) { count += quarn.Connesso(link) ? 1 : 0; });
    return count;
  }
  std::uint64_t textsReceived() {
    std::uint64_t texts = 0;
    each([&](QuarnSocket& quarn, std::int16_t link) { texts += quarn.snapshot(link).textsReceived; });
    return texts;
  }
  bool ready() { return quarn_.ProntoPerUscire() == -1; }

 private:
  SettableClock& clock_;
  PosixPlatform platform_;
  Engine library_{
      {platform_.services().sockets, platform_.services().timer, clock_, platform_.services().logFile}};
  QuarnSocket quarn_{library_};
};

class HostPair {
 public:
  explicit HostPair(int links) : links_(links) {}

  void open() {
    // Called only while all links are closed: opening an open link resets it.
    for (ReconnectingHost* host : {&server_, &client_}) {
      host->each([](QuarnSocket& quarn, std::int16_t link) { quarn.Apri(link); });
    }
  }
  void breakAll(int round) {
    switch (round % 3) {
      case 0:
        return cutConnections();
      case 1:
        return stop(round % 2 == 0 ? server_ : client_);
      default:
        closeAll(round % 2 == 0 ? server_ : client_);
        return open();
    }
  }
  void exchangeTexts() {
    const std::uint64_t serverTexts = server_.textsReceived(), clientTexts = client_.textsReceived();
    for (ReconnectingHost* host : {&server_, &client_}) {
      host->each([](QuarnSocket& quarn, std::int16_t link) { quarn.Invia(link, "a text"); });
    }
    const auto wanted = static_cast<std::uint64_t>(links_);
    until("texts", [&] {
      return server_.textsReceived() >= serverTexts + wanted &&
             client_.textsReceived() >= clientTexts + wanted;
    });
  }
  void awaitConnections() {
    until("connections", [&] { return server_.connected() == links_ && client_.connected() == links_; });
  }

 private:
  template <class Condition>
  void until(const char* what, Condition condition) {
    for (int ticks = 0; !condition(); ++ticks) {
      if (ticks > kTicksMax) {
        std::printf("no %s within %d ticks: %d and %d of %d links are connected\n", what, kTicksMax,
                    server_.connected(), client_.connected(), links_);
        std::exit(1);
      }
      clock_.setForward(1);
      server_.turn();
      client_.turn();
    }
  }
  // Shuts down every connection of the process, with the bytes in transit.
  void cutConnections() {
    DIR* const directory = ::opendir("/proc/self/fd");
    while (const dirent* entry = ::readdir(directory)) {
      const int descriptor = std::atoi(entry->d_name);
      sockaddr_storage peer{};
      socklen_t size = sizeof peer;
      if (::getpeername(descriptor, reinterpret_cast<sockaddr*>(&peer), &size) == 0) {
        ::shutdown(descriptor, SHUT_RDWR);
      }
    }
    ::closedir(directory);
    until("loss", [&] { return server_.connected() == 0 && client_.connected() == 0; });
  }
  // Stops one host until the other one has given up all links.
  void stop(ReconnectingHost& silent) {
    ReconnectingHost& other = &silent == &server_ ? client_ : server_;
    for (int second = 0; second < kSilentSeconds; ++second) {
      clock_.setForward(1);
      other.turn();
    }
  }
  void closeAll(ReconnectingHost& host) {
    host.each([](QuarnSocket& quarn, std::int16_t link) { quarn.Chiudi(link); });
    until("close", [&] { return host.ready(); });
    ReconnectingHost& other = &host == &server_ ? client_ : server_;
    other.each([](QuarnSocket& quarn, std::int16_t link) { quarn.Chiudi(link); });
    until("close", [&] { return other.ready(); });
  }

  int links_;
  SettableClock clock_;
  ReconnectingHost server_{false, links_, clock_};
  ReconnectingHost client_{true, links_, clock_};
};

}  // namespace

int main(int argumentCount, char** arguments) {
  const int links = argumentCount == 3 ? std::atoi(arguments[1]) : 0;
  const int rounds = argumentCount == 3 ? std::atoi(arguments[2]) : 0;
  if (links < 1 || links > 1000 || rounds < 1) {
    std::fprintf(stderr, "usage: %s LINKS ROUNDS: breaks each of 1 to 1000 links ROUNDS times\n",
                 arguments[0]);
    return 2;
  }
  raiseDescriptorLimit();
  HostPair hosts(links);
  hosts.open();
  hosts.awaitConnections();
  hosts.exchangeTexts();
  Holdings before = holdings();
  for (int round = 0; round < rounds + kWarmUpRounds; ++round) {
    if (round == kWarmUpRounds) before = holdings();
    hosts.breakAll(round);
    hosts.awaitConnections();
    hosts.exchangeTexts();
  }
  const Holdings after = holdings();
  std::printf("%d reconnections: %lld descriptors before and %lld after, heap %+lld bytes\n", links * rounds,
              static_cast<long long>(before.descriptors), static_cast<long long>(after.descriptors),
              static_cast<long long>(after.heapBytes - before.heapBytes));
  return after.descriptors == before.descriptors && after.heapBytes - before.heapBytes <= kGrowthMax ? 0 : 1;
}
