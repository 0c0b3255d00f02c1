// Measures a tick over idle connected links with cold caches: the engine alone, and with the POSIX sockets.
#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/process.h"
#include "bench/settable_clock.h"
#include "engine/exchange/frame.h"
#include "engine/message/outbound.h"
#include "engine/records/frm_sock.h"
#include "engine/tick/tick.h"
#include "host/engine.h"
#include "platform/posix/descriptor.h"
#include "platform/posix/posix_platform.h"
#include "quarnex/quarn_socket.h"
#include "services/plain_services.h"

namespace quarnex {
namespace {

constexpr int kLinks = 10'000;
constexpr int kTicks = 50;

// Evicts everything from the processor's caches.
class CacheFlush {
 public:
  void run() {
    for (std::size_t i = 0; i < other_.size(); i += kLine) ++other_[i];
    benchmark::ClobberMemory();
  }

 private:
  static constexpr std::size_t kLine = 64;
  std::vector<unsigned char> other_ =
      std::vector<unsigned char>(std::size_t{96} << 20);  // larger than any cache
};

PlainSocket& plainSocketOf(Library& library, const ConnectionRecord& record) {
  return static_cast<PlainSocket&>(frameSocket(library, record));
}

void deliver(Library& library, const ConnectionRecord& record, std::string_view message) {
  std::string frame;
  makeFrame(frame, message);
  plainSocketOf(library, record).arrive(std::move(frame));
}

void connect(Library& library, const ConnectionRecord& record) {
  if (record.ConnessioneClient) {
    plainSocketOf(library, record).become(kSocketConnected);
    Form(library).onConnect(SocketArray::ClientSocket, record.IdxClient, 0);
  } else {
    Form(library).onAccept(SocketArray::ServerSocket, record.IdxServer, 1, 0);
  }
}

// Creates connected links of both roles that have finished an exchange without data, the usual state of a
// link.
void makeIdleLinks(Library& library) {
  QuarnSocket quarn(library);
  for (int i = 0; i < kLinks; ++i) {
    const std::int16_t link = quarn.Add("PEER", static_cast<std::int16_t>(i), i % 2 == 0, true);
    quarn.Apri(link);
    connect(library, library.ConnectionTable[link]);
  }
  HiTime_QUARN_Tick(library);  // the sub-state goes from 0 to 1
  HiTime_QUARN_Tick(library);  // the clients send a query
  for (std::int16_t link = 1; link <= kLinks; ++link) {
    const ConnectionRecord& record = library.ConnectionTable[link];
    deliver(library, record, record.ConnessioneClient ? "0000002|9NODATA|9.|" : "0000002|9QRY|9.|");
  }
  HiTime_QUARN_Tick(library);
  for (std::int16_t link = 1; link <= kLinks; ++link) {
    if (library.ConnectionTable[link].StatoB != kExchangeIdle) std::abort();
    while (quarn.MessaggioArrivato(link)) quarn.GetMessaggioArrivato(link);
  }
}

void quiet_tick(benchmark::State& state) {
  PlainServices services;
  Engine library{services.all()};
  makeIdleLinks(library);
  CacheFlush caches;
  const std::uint64_t before = bench::allocations();
  for (auto _ : state) {
    caches.run();
    const double start = bench::cpuSeconds();
    HiTime_QUARN_Tick(library);
    state.SetIterationTime(bench::cpuSeconds() - start);
  }
  state.counters["allocations"] = static_cast<double>(bench::allocations() - before);
  state.SetItemsProcessed(state.iterations() * kLinks);
}
BENCHMARK(quiet_tick)->UseManualTime()->Iterations(kTicks);

// Floor: reads two cache lines of each record and one of its socket.
void quiet_tick_floor(benchmark::State& state) {
  struct Record {
    alignas(64) long first;
    alignas(64) long second;
    char rest[sizeof(ConnectionRecord) - std::size_t{2} * 64];
  };
  std::vector<Record> records(kLinks);
  std::vector<std::unique_ptr<PlainSocket>> sockets;
  for (int i = 0; i < kLinks; ++i) sockets.push_back(std::make_unique<PlainSocket>());
  CacheFlush caches;
  for (auto _ : state) {
    caches.run();
    const double start = bench::cpuSeconds();
    long sum = 0;
    for (std::size_t i = 0; i < records.size(); ++i) {
      sum += records[i].first + records[i].second + static_cast<SocketInstance&>(*sockets[i]).bytesWaiting();
    }
    benchmark::DoNotOptimize(sum);
    state.SetIterationTime(bench::cpuSeconds() - start);
  }
  state.SetItemsProcessed(state.iterations() * kLinks);
}
BENCHMARK(quiet_tick_floor)->UseManualTime()->Iterations(kTicks);

constexpr int kLinksMax = 10'000;
constexpr int kLinksPerListener = 1'000;  // below the listener's backlog
constexpr int kOtherDescriptors = 100;
constexpr int kFirstPort = 22'900;
constexpr std::chrono::milliseconds kNoLimit{-1};

// The peers of all links, on bare sockets in this process.
class BarePeers {
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

  // A link's port is a signed 16-bit number; ports chosen by the system are above its range.
  static Descriptor listenOn(int port) {
    Descriptor listener = checked(::socket(AF_INET, SOCK_STREAM, 0));
    const int on = 1;
    ::setsockopt(listener.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in here{};
    here.sin_family = AF_INET;
    here.sin_port = htons(static_cast<std::uint16_t>(port));
    if (::bind(listener.get(), reinterpret_cast<const sockaddr*>(&here), sizeof here) != 0 ||
        ::listen(listener.get(), SOMAXCONN) != 0)
      throw std::runtime_error("no port");
    return listener;
  }

  std::vector<Descriptor> listeners_, connections_;
};

class PosixTickHost {
 public:
  PosixTickHost()
      : links_(
            std::min(kLinksMax, (static_cast<int>(bench::raiseDescriptorLimit()) - kOtherDescriptors) / 2)) {
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
  BarePeers peers_;
  bench::SettableClock clock_;
  PosixPlatform platform_;
  Services services_ = platform_.services();
  Engine library_{{services_.sockets, services_.timer, clock_, services_.logFile}};
  QuarnSocket quarn_{library_};
};

void posix_quiet_tick(benchmark::State& state) {
  PosixTickHost host;
  CacheFlush caches;
  const std::uint64_t before = bench::allocations();
  for (auto _ : state) {
    caches.run();
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
