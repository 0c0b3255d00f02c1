// Two hosts in one process whose links are broken and come back, over and over: what they hold of the system
// has to stay the same. The ticks come faster than usual and the clock moves a second with each, so that
// waits cost nothing.
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
#include "quarnex/quarn_socket.h"

namespace {

using namespace quarnex;
using namespace quarnex::bench;

constexpr int kFirstPort = 23000;
constexpr std::int16_t kTickMilliseconds = 2;
constexpr int kSilentSeconds = 40;  // longer than any link bears silence
constexpr int kTicksMax = 1000;     // for one thing to happen
constexpr int kWarmingRounds = 6;   // until buffers have the size that they keep
constexpr std::int64_t kGrowthMax = 64 * 1024;

class Host {
 public:
  Host(bool client, int links, SettableClock& clock) : clock_(clock) {
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
  /// Waits for the next tick and does what a host does after it.
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

class Site {
 public:
  explicit Site(int links) : links_(links) {}

  void open() {
    // A link that is open still would only be set back.
    for (Host* host : {&server_, &client_}) {
      host->each([](QuarnSocket& quarn, std::int16_t link) { quarn.Apri(link); });
    }
  }
  void breakAll(int round) {
    switch (round % 3) {
      case 0:
        return cutConnections();
      case 1:
        return beSilent(round % 2 == 0 ? server_ : client_);
      default:
        closeAll(round % 2 == 0 ? server_ : client_);
        return open();
    }
  }
  void exchangeTexts() {
    const std::uint64_t serverTexts = server_.textsReceived(), clientTexts = client_.textsReceived();
    for (Host* host : {&server_, &client_}) {
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
  // The system ends every connection, with whatever is on its way.
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
  // The other host hears nothing until it gives the links up.
  void beSilent(Host& silent) {
    Host& other = &silent == &server_ ? client_ : server_;
    for (int second = 0; second < kSilentSeconds; ++second) {
      clock_.setForward(1);
      other.turn();
    }
  }
  void closeAll(Host& host) {
    host.each([](QuarnSocket& quarn, std::int16_t link) { quarn.Chiudi(link); });
    until("close", [&] { return host.ready(); });
    Host& other = &host == &server_ ? client_ : server_;
    other.each([](QuarnSocket& quarn, std::int16_t link) { quarn.Chiudi(link); });
    until("close", [&] { return other.ready(); });
  }

  int links_;
  SettableClock clock_;
  Host server_{false, links_, clock_};
  Host client_{true, links_, clock_};
};

}  // namespace

int main(int argumentCount, char** arguments) {
  const int links = argumentCount == 3 ? std::atoi(arguments[1]) : 0;
  const int rounds = argumentCount == 3 ? std::atoi(arguments[2]) : 0;
  if (links < 1 || links > 1000 || rounds < 1) {
    std::fprintf(stderr, "usage: %s LINKS ROUNDS: 1 to 1000 links, each broken so often\n", arguments[0]);
    return 2;
  }
  raiseDescriptorLimit();
  Site site(links);
  site.open();
  site.awaitConnections();
  site.exchangeTexts();
  Holdings before = holdings();
  for (int round = 0; round < rounds + kWarmingRounds; ++round) {
    if (round == kWarmingRounds) before = holdings();
    site.breakAll(round);
    site.awaitConnections();
    site.exchangeTexts();
  }
  const Holdings after = holdings();
  std::printf("%d reconnections: %lld descriptors before and %lld after, heap %+lld bytes\n", links * rounds,
              static_cast<long long>(before.descriptors), static_cast<long long>(after.descriptors),
              static_cast<long long>(after.heapBytes - before.heapBytes));
  return after.descriptors == before.descriptors && after.heapBytes - before.heapBytes <= kGrowthMax ? 0 : 1;
}
