// Tests that all QuarnSocket instances share the process's one library, and that HostLoop runs it.
#include <gmock/gmock.h>
#include <poll.h>

#include <filesystem>

#include "quarnex/host_loop.h"
#include "quarnex/quarn_socket.h"
#include "services/process_library.h"
#include "support/test_files.h"

namespace quarnex {
namespace {

using namespace std::chrono_literals;

TEST(ProcessLibrary, EveryInstanceUsesItWhichLogsWithoutATurnAndTicks) {
  const TemporaryFolder folder;
  QuarnSocket quarn;
  HostLoop loop;
  EXPECT_EQ(&quarn.library(), &QuarnSocket().library());
  EXPECT_THROW(wrapProcessServices([] { return nullptr; }), Failure);
  quarn.Init(folder.path().string() + "/");
  quarn.AttivaLog();
  EXPECT_GT(quarn.Add("LOCAL", 7, true, false), 0);
  EXPECT_EQ(quarn.flushLog(20s).bytes, 0U);
  const auto log = std::filesystem::directory_iterator(folder.path())->path();
  EXPECT_THAT(contentOf(log), testing::HasSubstr(" : 7 LOCAL"));
  quarn.DisattivaLog(0);

  const auto link = quarn.Add("MIRTAN", 5, true, true);
  quarn.Apri(link);
  pollfd waited{loop.fd(), POLLIN, 0};
  EXPECT_EQ(::poll(&waited, 1, 10'000), 1);  // the first tick
  loop.turn(-1ms);
  quarn.Chiudi(link);
}

}  // namespace
}  // namespace quarnex
