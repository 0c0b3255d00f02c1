// Tests the Windows adapter where only Windows shows the behaviour: messages and their loss, exclusive ports,
// files.
#include <gmock/gmock.h>

#include <fstream>
#include <stdexcept>

#include "platform/windows/windows_errors.h"
#include "platform/windows/windows_harness.h"
#include "platform/windows/windows_socket.h"
#include "services/compression.h"
#include "services/recorded_harness.h"

namespace quarnex {

using namespace std::chrono_literals;
using testing::ElementsAre;

INSTANTIATE_TEST_SUITE_P(Windows, ServicesContract, testing::Values(&makeHarness<WindowsHarness>));
INSTANTIATE_TEST_SUITE_P(MessageLoop, ServicesContract, testing::Values(&makeHarness<MessageLoopHarness>));

namespace {

class WindowsSocketsTest : public ServicesContract {
 protected:
  WindowsPlatform& platform() { return static_cast<WindowsHarness&>(*harness).platform; }
  static WindowsLoop::Key useOf(SocketInstance& instance) {
    return static_cast<WindowsSocket&>(instance).use();
  }
};
INSTANTIATE_TEST_SUITE_P(Windows, WindowsSocketsTest, testing::Values(&makeHarness<WindowsHarness>));

// wine does not report a reset, so these messages are posted as Windows does.
TEST_P(WindowsSocketsTest, AResetThatTheSystemPostsIsReportedAtOnce) {
  const auto peer = joinPeer();
  peer->send("unread");
  EXPECT_TRUE(runUntil([&] { return accepted().bytesWaiting() > 0; }));
  platform().loop().post(useOf(accepted()), FD_CLOSE, WSAECONNRESET);
  EXPECT_TRUE(seen("SrvAccept 1 Close 10054"));
  events.clear();
  callTo(server().localPort());
  platform().loop().post(useOf(client()), FD_CONNECT, WSAECONNRESET);
  EXPECT_TRUE(seen("ClientSocket 1 Close 10054"));
  EXPECT_TRUE(seen("ClientSocket 1 Connect 0"));
}

TEST_P(WindowsSocketsTest, AMessageOfAnEndedUseIsDropped) {
  join();
  const WindowsLoop::Key ended = useOf(client());
  client().close();
  callTo(server().localPort());
  EXPECT_TRUE(seen("ClientSocket 1 Connect 0"));
  platform().loop().post(ended, FD_CLOSE, WSAECONNRESET);
  runTicks(3);
  EXPECT_EQ(client().state(), kSocketConnected);
}

// Without a selected event, no message comes, as if the queue had been full.
TEST_P(WindowsSocketsTest, LostMessagesAreNoticedWithinTwoRoundsOfTicks) {
  const auto peer = joinPeer();
  platform().loop().change(useOf(accepted()), 0);
  peer->send("bytes");
  EXPECT_EQ(takeAll(accepted(), 5), "bytes");
  peer->close();
  EXPECT_TRUE(seen("SrvAccept 1 Close 0"));
  platform().loop().change(useOf(server()), 0);
  const auto caller = harness->call(server().localPort());
  EXPECT_TRUE(seen("ServerSocket 1 Accept 0"));
  callTo(server().localPort(), 2);
  platform().loop().change(useOf(client(2)), 0);
  EXPECT_TRUE(seen("ClientSocket 2 Connect 0"));
}

TEST_P(WindowsSocketsTest, AFailureInsideTheHostsLoopReachesTheNextTurn) {
  int ownTicks = 0;
  platform().afterTicks([&] { ++ownTicks; });
  atTick = [] { throw std::runtime_error("tick"); };
  MSG message{};
  while (platform().nextDeadline() > 0ms || ticks == 0) {
    ::WaitMessage();
    if (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) != FALSE) ::DispatchMessageW(&message);
  }
  atTick = nullptr;
  EXPECT_THROW(platform().turn(1s), std::runtime_error);
  EXPECT_EQ(ownTicks, 0);
  ::PostQuitMessage(7);
  platform().turn(0ms);
  EXPECT_NE(::PeekMessageW(&message, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE), FALSE);
  EXPECT_EQ(message.wParam, 7U);
  ::DestroyWindow(::FindWindowExW(HWND_MESSAGE, nullptr, L"QuarnexLoop", nullptr));
  EXPECT_EQ(failureOf([&] { platform().turn(0ms); }), 10009);
}

int answers[2];
int binds = 0;
bool held = false;

TEST_P(WindowsSocketsTest, APortIsExclusiveUnlessItsOldConnectionsDrain) {
  const PortCalls calls{[](SOCKET, const sockaddr_in&) { return answers[binds++]; },
                        [](std::int32_t) { return held; }};
  const struct {
    const char* name;
    int alone, shared;
    bool held;
    int binds, failure;
  } rows[] = {{"free", 0, 0, false, 1, 0},
              {"connections drain", WSAEADDRINUSE, 0, false, 2, 0},
              {"connections drain, refused otherwise", WSAEACCES, 0, false, 2, 0},
              {"held", WSAEADDRINUSE, WSAEADDRINUSE, true, 2, 10048},
              {"held exclusively", WSAEACCES, WSAEACCES, true, 2, 10048},
              {"reserved by the system", WSAEACCES, WSAEACCES, false, 2, 10013},
              {"foreign address", WSAEADDRNOTAVAIL, 0, false, 1, 10049}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    answers[0] = row.alone;
    answers[1] = row.shared;
    held = row.held;
    binds = 0;
    EXPECT_EQ(failureOf([&] { openPort(loopback(12345), calls); }), row.failure);
    EXPECT_EQ(binds, row.binds);
  }
  listenOn(harness->freePort());
  EXPECT_TRUE(kSystemPortCalls.isHeld(server().localPort()));
  EXPECT_FALSE(kSystemPortCalls.isHeld(harness->freePort()));
}

TEST(WindowsErrors, EveryErrorHasANumberAndADescription) {
  for (int error = 1; error < 12000; ++error) {
    const Failure failure = socketFailure(error);
    EXPECT_TRUE(failure.number() >= 10004 && failure.number() <= 10107) << error;
    EXPECT_FALSE(failure.description().empty()) << error;
  }
  EXPECT_EQ(socketErrorNumber(0), 0);
}

TEST(WindowsFiles, NamesAreUtf8OrOfTheSystemsCodePageAndFailuresHaveTheClassicNumbers) {
  const TemporaryFolder folder;
  LogTextFile file;
  for (const std::string name : {"\xE2\x82\xAC.txt", "\xFC.txt"}) {
    file.create((folder.path() / "").string() + name);
    EXPECT_TRUE(std::filesystem::exists(folder.path() / pathOf(name))) << name;
  }
  EXPECT_EQ(failureOf([&] { file.create(""); }), 76);
  EXPECT_EQ(failureOf([&] { file.create("NUL"); }), 75);
  const auto taken = folder.path() / "taken";
  std::ofstream(taken) << "precious";
  EXPECT_EQ(failureOf([&] { createStorage(taken, {.mustBeNew = true}); }), 58);
  EXPECT_EQ(contentOf(taken), "precious");
  const auto storage = createStorage(taken);
  EXPECT_EQ(storage->writeAt(0, "one\ntwo\n"), 0);
  storage->cutTo(4);
  std::filesystem::rename(taken, folder.path() / "renamed");
  EXPECT_EQ(storage->writeAt(4, "three\n"), 0);
  EXPECT_EQ(contentOf(folder.path() / "renamed"), "one\nthree\n");
}

TEST(WindowsFiles, CompressionUsesTheLibraryBesideTheProgram) {
  const TemporaryFolder folder;
  compressed(createStorage(folder.path() / "a.gz"))->writeAt(0, "text");
  std::ifstream in(folder.path() / "a.gz", std::ios::binary);
  std::string text;
  std::getline(*decompressed(in), text);
  EXPECT_EQ(text, "text");
}

TEST(WindowsClock, OffsetsStayInTheirRangeForAnyInstant) {
  WindowsClock clock{secondOfSystem};
  EXPECT_NEAR(static_cast<double>(clock.now().second), static_cast<double>(std::time(nullptr)), 2);
  for (const std::int64_t second : {INT64_MIN / 2, std::int64_t{0}, std::int64_t{1} << 40, INT64_MAX / 2})
    EXPECT_LE(std::abs(clock.utcOffset({second})), 14 * 3600) << second;
}

}  // namespace
}  // namespace quarnex
