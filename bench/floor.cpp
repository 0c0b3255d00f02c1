// Exchanges the same bytes as many links do, at the same moments, with bare epoll and no library. Its cost is
// the floor to which the benchmarks compare the library.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/timerfd.h>
#include <time.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "bench/process.h"
#include "bench/workload.h"
#include "quarnex/times_and_limits.h"

namespace {

using namespace quarnex::bench;

enum class ClientPhase : unsigned char { Waiting, Answered, Due };

struct FloorConnection {
  int socket = -1;
  ClientPhase phase = ClientPhase::Waiting;
  std::time_t answeredAt = 0;
  std::string frame;  // the frame that this side sends
};

struct Floor {
  Workload workload;
  std::vector<FloorConnection> connections;
  std::vector<int> listeners;
  std::vector<epoll_event> events;
  std::string buffer = std::string(std::size_t{64} * 1024, '\0');
  int epoll = ::epoll_create1(0);
  int timer = ::timerfd_create(CLOCK_MONOTONIC, 0);
  std::int64_t exchanges = 0;
};

void require(bool done, const char* what) {
  if (done) return;
  std::perror(what);
  std::exit(1);
}

sockaddr_in endpoint(int link) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<std::uint16_t>(portOfLink(link)));
  return address;
}

void listenOnAll(Floor& floor) {
  const int on = 1;
  for (int link = 0; link < floor.workload.links; ++link) {
    const sockaddr_in here = endpoint(link);
    const int listener = ::socket(AF_INET, SOCK_STREAM, 0);
    ::setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    require(::bind(listener, reinterpret_cast<const sockaddr*>(&here), sizeof here) == 0, "bind");
    require(::listen(listener, SOMAXCONN) == 0, "listen");
    floor.listeners.push_back(listener);
  }
}

int connectTo(int link) {
  const sockaddr_in there = endpoint(link);
  const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
  require(::connect(socket, reinterpret_cast<const sockaddr*>(&there), sizeof there) == 0, "connect");
  return socket;
}

void addConnection(Floor& floor, int link, int socket) {
  require(socket >= 0, "socket");
  const int on = 1;
  ::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  const bool server = floor.workload.server;
  floor.connections.push_back({socket, server ? ClientPhase::Waiting : ClientPhase::Due, 0,
                               server ? answerOf(floor.workload, link) : requestOf(floor.workload, link)});
  epoll_event event{};
  event.events = EPOLLIN;
  event.data.u32 = static_cast<std::uint32_t>(link);
  require(::epoll_ctl(floor.epoll, EPOLL_CTL_ADD, socket, &event) == 0, "epoll_ctl");
}

void setUp(Floor& floor) {
  if (floor.workload.server) listenOnAll(floor);
  announce("listening");
  for (int link = 0; link < floor.workload.links; ++link) {
    const int listener = floor.workload.server ? floor.listeners[static_cast<std::size_t>(link)] : -1;
    addConnection(floor, link,
                  floor.workload.server ? ::accept(listener, nullptr, nullptr) : connectTo(link));
  }
  floor.events.resize(floor.connections.size());
  constexpr long kTickNanoseconds = quarnex::kTickMilliseconds * 1'000'000L;
  const itimerspec everyTick{{0, kTickNanoseconds}, {0, kTickNanoseconds}};
  require(::timerfd_settime(floor.timer, 0, &everyTick, nullptr) == 0, "timerfd_settime");
  announce("connected");
}

void send(const FloorConnection& connection) {
  require(::send(connection.socket, connection.frame.data(), connection.frame.size(),
                 MSG_DONTWAIT | MSG_NOSIGNAL) > 0,
          "send");
}

// As in the library, a request leaves one tick after it was found due.
void stepClient(FloorConnection& connection, std::time_t now) {
  if (connection.phase == ClientPhase::Due) {
    send(connection);
    connection.phase = ClientPhase::Waiting;
  } else if (connection.phase == ClientPhase::Answered && now > connection.answeredAt) {
    connection.phase = ClientPhase::Due;
  }
}

void receive(Floor& floor, FloorConnection& connection, std::time_t now) {
  const ssize_t count = ::recv(connection.socket, floor.buffer.data(), floor.buffer.size(), MSG_DONTWAIT);
  if (count == 0) std::exit(0);
  require(count > 0, "recv");
  if (floor.buffer[static_cast<std::size_t>(count) - 1] != '\x03') return;
  ++floor.exchanges;
  if (floor.workload.server) return send(connection);
  connection.phase = floor.workload.busy() ? ClientPhase::Due : ClientPhase::Answered;
  connection.answeredAt = now;
}

void tick(Floor& floor) {
  std::uint64_t periods = 0;
  require(::read(floor.timer, &periods, sizeof periods) == sizeof periods, "read");
  const std::time_t now = ::time(nullptr);
  if (!floor.workload.server) {
    for (FloorConnection& connection : floor.connections) stepClient(connection, now);
  }
  const int count = ::epoll_wait(floor.epoll, floor.events.data(), static_cast<int>(floor.events.size()), 0);
  for (int i = 0; i < count; ++i) {
    receive(floor, floor.connections[floor.events[static_cast<std::size_t>(i)].data.u32], now);
  }
}

}  // namespace

int main(int argumentCount, char** arguments) {
  Floor floor;
  floor.workload = workloadOf(argumentCount, arguments);
  raiseDescriptorLimit();
  measure(
      floor.workload, [&] { setUp(floor); }, [&] { tick(floor); }, [&] { return floor.exchanges; });
}
