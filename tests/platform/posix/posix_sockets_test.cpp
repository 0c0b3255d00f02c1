// Tests the POSIX sockets where only a real system shows the behaviour: descriptor limits, wake-ups, resets.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <net/if.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sched.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <cstddef>
#include <fstream>
#include <iterator>
#include <thread>

#include "platform/posix/error_numbers.h"
#include "platform/posix/posix_harness.h"
#include "quarnex/link_snapshot.h"
#include "services/recorded_harness.h"
#include "support/resource_limit.h"

// Present only in builds for coverage and with AddressSanitizer.
extern "C" int __llvm_profile_write_file() __attribute__((weak));  // NOLINT(bugprone-reserved-identifier)
extern "C" void __asan_init() __attribute__((weak));               // NOLINT(bugprone-reserved-identifier)

namespace quarnex {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

INSTANTIATE_TEST_SUITE_P(Posix, ServicesContract, testing::Values(&makeHarness<PosixHarness>));
INSTANTIATE_TEST_SUITE_P(RecordedPosix, ServicesContract,
                         testing::Values(&makeHarness<RecordedHarness<PosixHarness>>));

namespace {

class PosixSocketsTest : public ServicesContract {
 protected:
  PosixHarness& posix() { return static_cast<PosixHarness&>(*harness); }
  bool readable() {
    pollfd waited{posix().platform.fd(), POLLIN, 0};
    return ::poll(&waited, 1, 0) == 1;
  }
};
INSTANTIATE_TEST_SUITE_P(Posix, PosixSocketsTest, testing::Values(&makeHarness<PosixHarness>));

// Limits the process to `count` further descriptors.
struct DescriptorsLeft : ResourceLimit<RLIMIT_NOFILE> {
  explicit DescriptorsLeft(int count)
      : ResourceLimit(static_cast<rlim_t>(Descriptor(::dup(0)).get() + count)) {}
};

int openDescriptors() {
  int count = 0;
  for (int number = 0; number < 1024; ++number) count += ::fcntl(number, F_GETFD) >= 0 ? 1 : 0;
  return count;
}

// Enters a network namespace with the loopback interface alone and two ports for outgoing connections.
bool enterOwnNetwork() {
  if (::unshare(CLONE_NEWNET) != 0) return false;
  ifreq request{};
  request.ifr_name[0] = 'l';
  request.ifr_name[1] = 'o';
  request.ifr_flags = IFF_UP | IFF_RUNNING;
  if (::ioctl(PosixSystem::open().get(), SIOCSIFFLAGS, &request) != 0) return false;
  std::ofstream range("/proc/sys/net/ipv4/ip_local_port_range");
  return static_cast<bool>(range << "30000 30001" << std::flush);
}

// From now on a system call of this process fails, while its connections stay healthy.
template <unsigned kCall, unsigned kError>
bool refuse() {
  sock_filter rules[] = {BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
                         BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, kCall, 0, 1),
                         BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | kError),
                         BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)};
  const sock_fprog filter{std::size(rules), rules};
  return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
         ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
}

// Runs `check` in a child process after `enter` has set up its environment, and expects it to pass. Skips the
// test if the system does not permit that environment.
void expectIn(bool (*enter)(), const std::function<bool()>& check) {
  enum Outcome { kPassed, kFailed, kForbidden };
  const pid_t child = ::fork();
  if (child == 0) {
    if (!enter()) ::_exit(kForbidden);
    const bool passed = check();
    if (__llvm_profile_write_file != nullptr) __llvm_profile_write_file();
    ::_exit(passed ? kPassed : kFailed);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) != kFailed);
  if (WEXITSTATUS(status) == kForbidden) GTEST_SKIP() << "needs permission for this environment";
}

TEST_P(PosixSocketsTest, AtTheDescriptorLimitNewSocketsFailAndACallerWaitsForOne) {
  if (__asan_init != nullptr) GTEST_SKIP() << "AddressSanitizer needs descriptors itself";
  join();
  const std::int32_t port = harness->freePort();
  const auto peer = harness->call(server().localPort());
  posix().turns = ticks = 0;
  {
    const DescriptorsLeft none(0);
    EXPECT_EQ(failureOf([&] { listenOn(port, 2); }), 10024);
    EXPECT_EQ(failureOf([&] { callTo(port, 2); }), 10024);
    EXPECT_EQ(failureOf([] { PosixPlatform another; }), 10024);
    client().send("still here");
    EXPECT_EQ(takeAll(accepted(), 10), "still here");
    runTicks(5);
    EXPECT_LE(posix().turns, 4 * ticks + 10);
    EXPECT_GE(events.size(), 4U);
    EXPECT_LE(events.size(), static_cast<std::size_t>(ticks) + 1);
    EXPECT_THAT(events, testing::Each("ServerSocket 1 Accept 10024"));
  }
  EXPECT_TRUE(seen("ServerSocket 1 Accept 0"));
}

TEST_P(PosixSocketsTest, ACallerThatTakesTheLastDescriptorIsTheOnlyEvent) {
  if (__asan_init != nullptr) GTEST_SKIP() << "AddressSanitizer needs descriptors itself";
  listenOn(harness->freePort());
  const auto peer = harness->call(server().localPort());
  {
    const DescriptorsLeft one(1);
    runTicks(3);
  }
  EXPECT_THAT(events, ElementsAre("ServerSocket 1 Accept 0"));
  peer->send("still here");
  EXPECT_EQ(takeAll(accepted(), 10), "still here");
}

TEST_P(PosixSocketsTest, TheLoopsDescriptorIsReadableForEveryEventExceptData) {
  timer().setPeriod(0);
  EXPECT_EQ(posix().platform.nextDeadline(), -1ms);
  listenOn(harness->freePort());
  EXPECT_FALSE(readable());
  const auto peer = harness->call(server().localPort());
  EXPECT_TRUE(readable());
  EXPECT_TRUE(seen("ServerSocket 1 Accept 0"));
  while (readable()) posix().platform.turn(0ms);
  peer->send("data");
  EXPECT_FALSE(readable());
  accepted().send("more data");
  EXPECT_EQ(peer->receive(), "more data");
  EXPECT_FALSE(readable());
  peer->close();
  EXPECT_TRUE(readable());
  posix().platform.turn(0ms);
  EXPECT_FALSE(readable());  // until the data has been fetched
  accepted().fetch();
  EXPECT_EQ(accepted().receivedText(), "data");
  EXPECT_TRUE(readable());
  posix().platform.turn(-1ms);
  EXPECT_THAT(events, ElementsAre("ServerSocket 1 Accept 0", "SrvAccept 1 Close 0"));
  timer().setPeriod(900);
  EXPECT_GE(posix().platform.nextDeadline(), 0ms);
  timer().setPeriod(1);
  EXPECT_LE(posix().platform.nextDeadline(), 1ms);
  posix().platform.turn(-1ms);
  EXPECT_EQ(ticks, 1);
}

TEST_P(PosixSocketsTest, ACloseInTheSameTurnAsTheTickIsNotReportedAsData) {
  join();
  runTicks(2);
  std::this_thread::sleep_for(5ms);  // the tick is due, and then the close
  accepted().close();
  atTick = [&] { EXPECT_EQ(client().bytesWaiting(), 0); };
  EXPECT_TRUE(seen("ClientSocket 1 Close 0"));
}

TEST_P(PosixSocketsTest, AResetCausedByOurSendDoesNotOvertakeTheOrderlyClose) {
  const auto peer = joinPeer();
  peer->send("last");
  peer->close();
  for (int i = 0; i < 3; ++i) {
    accepted().send("answer that nobody reads");
    runTicks(1);
  }
  EXPECT_THAT(events, IsEmpty());
  EXPECT_EQ(takeAll(accepted(), 4), "last");
  EXPECT_TRUE(seen("SrvAccept 1 Close 0"));
}

TEST_P(PosixSocketsTest, ALinkHoldsOneDescriptorPerSocketAndReleasesThemAll) {
  const int before = openDescriptors();
  join();
  EXPECT_EQ(openDescriptors(), before + 3);  // listening, accepted, calling
  for (int number = 3; number < 1024; ++number) {
    int on = 0;
    socklen_t size = sizeof on;
    if (::getsockopt(number, IPPROTO_TCP, TCP_NODELAY, &on, &size) != 0) continue;
    EXPECT_EQ(on, 1);
    EXPECT_EQ(::fcntl(number, F_GETFD), FD_CLOEXEC);
  }
  callTo(server().localPort(), 2);  // replaces the first
  EXPECT_TRUE(seen("ClientSocket 1 Close 0"));
  client(2).close();
  EXPECT_TRUE(seen("SrvAccept 1 Close 0"));
  callTo(harness->freePort(), 3);
  EXPECT_TRUE(seen("ClientSocket 3 Connect 10061"));
  server().close();
  EXPECT_EQ(openDescriptors(), before);
}

TEST_P(PosixSocketsTest, UrgentDataArrivesInOrderWithTheOtherBytes) {
  const auto caller = joinPeer();
  auto& peer = static_cast<PosixPeer&>(*caller);
  peer.send("ab");
  EXPECT_EQ(::send(peer.socket().get(), "c", 1, MSG_OOB), 1);
  peer.send("de");
  EXPECT_EQ(takeAll(accepted(), 5), "abcde");
}

TEST_P(PosixSocketsTest, ACallAnsweredClosedAndResetBeforeTheTurnReportsConnectDataAndClose) {
  const auto answered = harness->answer([&](std::int32_t port) { callTo(port); });
  auto& peer = static_cast<PosixPeer&>(*answered);
  peer.send("bye");
  ::shutdown(peer.socket().get(), SHUT_WR);
  peer.reset();
  EXPECT_TRUE(seen("ClientSocket 1 Connect 0"));
  EXPECT_EQ(takeAll(client(), 3), "bye");
  EXPECT_TRUE(seen("ClientSocket 1 Close 0"));
  EXPECT_EQ(events.size(), 2U);
}

TEST_P(PosixSocketsTest, ASendRefusedByTheSystemRaisesTheCloseEvent) {
  expectIn(refuse<__NR_sendto, ENOBUFS>, [&] {
    join();
    return failureOf([&] { accepted().send("text"); }) == 0 && seen("SrvAccept 1 Close 10055");
  });
}

TEST_P(PosixSocketsTest, ACallerWhomTheNetworkNoLongerReachesRaisesNothing) {
  expectIn(refuse<__NR_accept4, EHOSTUNREACH>, [&] {
    const auto peer = callPeer();
    runTicks(3);
    return events.empty();
  });
}

// As a child process that the host has forked holds it.
TEST_P(PosixSocketsTest, ADescriptorHeldElsewhereCausesNoWakeUp) {
  const int number = Descriptor(::dup(0)).get();  // the next one, so that of the listening socket
  listenOn(harness->freePort());
  const Descriptor held(::dup(number));
  server().close();
  const auto peer = harness->call(server().localPort());
  posix().turns = ticks = 0;
  runTicks(5);
  EXPECT_LE(posix().turns, 4 * ticks + 10);
  EXPECT_THAT(events, IsEmpty());
}

// A host that becomes a daemon too late closes the descriptors, and may open a set of its own with such a
// number.
TEST_P(PosixSocketsTest, ALoopIgnoresForeignEventsAndFailsWithoutItsDescriptors) {
  expectIn([] { return true; },
           [&] {
             const Descriptor ready(::eventfd(1, 0)), foreign(::epoll_create1(0));
             epoll_event event{EPOLLIN, {.u64 = UINT32_MAX}};
             ::epoll_ctl(foreign.get(), EPOLL_CTL_ADD, ready.get(), &event);
             ::dup2(foreign.get(), posix().platform.fd());
             posix().platform.turn(0ms);
             for (int number = 3; number < 64; ++number) ::close(number);
             return failureOf([&] { posix().platform.turn(50ms); }) == 10009 &&
                    failureOf([&] { posix().platform.turn(50ms); }) == 10009;
           });
}

// With only two local ports to choose from, the system soon picks the called port as the calling one.
TEST_P(PosixSocketsTest, CallsToThemselvesAndToUnreachableNetworksAreReportedAsConnectEvents) {
  expectIn(enterOwnNetwork, [&] {
    for (int i = 0; i < 20; ++i) {
      events.clear();
      callTo(30000 + i % 2);
      if (!seen("ClientSocket 1 Connect 10061") || events.size() != 1) return false;
    }
    if (failureOf([&] { listenOn(30000); }) != 0) return false;
    events.clear();
    client().setRemoteHost("192.0.2.1");
    client().setRemotePort(20308);
    if (failureOf([&] { client().connect(); }) != 0 || !events.empty()) return false;
    return seen("ClientSocket 1 Connect 10051");
  });
}

TEST(ErrorNumbers, EveryErrnoHasANumberADescriptionAndWordsForPeople) {
  EXPECT_EQ(socketErrorNumber(0), 0);
  for (int error = 1; error < 200; ++error) {
    const Failure failure = socketFailure(error);
    EXPECT_EQ(failure.number(), socketErrorNumber(error));
    EXPECT_TRUE(failure.number() >= 10004 && failure.number() <= 10107) << error;
    EXPECT_FALSE(failure.description().empty());
    EXPECT_THAT(inWords({FailureKind::ConnectionBroken, failure.number()}), testing::HasSubstr(", "));
  }
  EXPECT_EQ(socketErrorNumber(EXDEV), 10107);
  for (const int error : {EDQUOT, ENOSPC}) EXPECT_EQ(fileFailure(error).number(), 61);
  for (const int error : {EACCES, EPERM, EROFS}) EXPECT_EQ(fileFailure(error).number(), 70);
}

}  // namespace
}  // namespace quarnex
