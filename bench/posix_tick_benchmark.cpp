// A tick over connected links on which nothing was received, with cold caches: on this system's sockets.
#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <stdexcept>
#include <vector>

#include "bench/allocations.h"
#include "bench/cold_caches.h"
#include "bench/process.h"
#include "bench/settable_clock.h"
#include "engine/exchange/frame.h"
#include "engine/records/frm_sock.h"
#include "host/engine.h"
#include "platform/posix/descriptor.h"
#include "platform/posix/posix_platform.h"
#include "quarnex/quarn_socket.h"

namespace quarnex {
namespace {

constexpr int kLinksMax = 10'000;
constexpr int kLinksPerListener = 1'000;  // fewer than a listener keeps waiting
constexpr int kDescriptorsOfOthers = 100;
constexpr int kFirstPort = 22'900;
constexpr int kTicks = 50;
constexpr std::chrono::milliseconds kNoLimit{-1};

// The other ends of all links, on bare sockets in this process.
class Peers {
 public:
  std::int32_t portOf(int link) {
    if (link % kLinksPerListener == 0)
      listeners_.push_back(listenOn(kFirstPort + static_cast<int>(listeners_.size())));
    sockaddr_in here{};
    socklen_t size = sizeof here;
    ::getsockname(listeners_.back().get(), reinterpret_cast<sockaddr*>(&here), &size);
    return ntohs(here.sin_port);
  }

  void acceptAll(int links) {
    for (int link = 0; link < links; ++link) {
      const auto& listener = listeners_[static_cast<std::size_t>(link / kLinksPerListener)];
      connections_.push_back(checked(::accept(listener.get(), nullptr, nullptr)));
    }
  }

  void sendAll(const std::string& frame) {
    for (const Descriptor& connection : connections_) {
      ::send(connection.get(), frame.data(), frame.size(), 0);
    }
  }

 private:
  static Descriptor checked(int descriptor) {
    if (descriptor < 0) throw std::runtime_error("no socket");
    return Descriptor(descriptor);
  }

  // A link's port is a 16-bit signed number, and those that the system chooses are beyond it.
  static Descriptor listenOn(int port) {
    Descriptor listener = checked(::socket(AF_INET, SOCK_STREAM, 0));
    const int on = 1;
    ::setsockopt(listener.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in here{};
    here.sin_family = AF_INET;
    here.sin_port = htons(static_cast<std::uint16_t>(port));
    ::bind(listener.get(), reinterpret_cast<const sockaddr*>(&here), sizeof here);
    if (::listen(listener.get(), SOMAXCONN) != 0) throw std::runtime_error("no port");
    return listener;
  }

  std::vector<Descriptor> listeners_, connections_;
};

class Host {
 public:
  Host()
      : links_(std::min(kLinksMax,
                        (static_cast<int>(bench::raiseDescriptorLimit()) - kDescriptorsOfOthers) / 2)) {
    for (int i = 0; i < links_; ++i) {
      const std::int16_t link = quarn_.Add("PEER", static_cast<std::int16_t>(i % 1000), true, true);
      ClientSocket(library_, link).setRemotePort(peers_.portOf(i));
      quarn_.Apri(link);
    }
    clock_.setForward(11);  // past the wait before the first call
    platform_.turn(kNoLimit);
    peers_.acceptAll(links_);
    turnUntil([](const ConnectionRecord& record) { return record.StatoB == kExchangeWaiting; });
    clock_.stop();
    std::string frame;
    makeFrame(frame, "0000002|9NODATA|9.|");
    peers_.sendAll(frame);
    turnUntil([](const ConnectionRecord& record) { return record.StatoB == kExchangeIdle; });
    services_.timer.setPeriod(1);
  }

  int links() const { return links_; }
  void turn() { platform_.turn(kNoLimit); }

 private:
  template <class Predicate>
  void turnUntil(Predicate reached) {
    for (std::int16_t link = 1; link <= links_; ++link) {
      while (!reached(library_.ConnectionTable[link])) turn();
    }
  }

  const int links_;
  Peers peers_;
  bench::SettableClock clock_;
  PosixPlatform platform_;
  Services services_ = platform_.services();
  Engine library_{{services_.sockets, services_.timer, clock_, services_.logFile}};
  QuarnSocket quarn_{library_};
};

void posix_quiet_tick(benchmark::State& state) {
  Host host;
  bench::ColdCaches caches;
  const std::uint64_t before = bench::allocations();
  for (auto _ : state) {
    caches.make();
    const double start = bench::cpuSeconds();
    host.turn();
    state.SetIterationTime(bench::cpuSeconds() - start);
  }
  state.counters["allocations"] = static_cast<double>(bench::allocations() - before);
  state.SetItemsProcessed(state.iterations() * host.links());
}
BENCHMARK(posix_quiet_tick)->UseManualTime()->Iterations(kTicks);

}  // namespace
}  // namespace quarnex
