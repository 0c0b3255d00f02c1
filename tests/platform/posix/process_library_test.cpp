// Tests that all QuarnSocket instances share the process's one library, and that HostLoop runs it.
#include <gmock/gmock.h>
#include <poll.h>
#include <sys/resource.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "host/engine.h"
#include "quarnex/host_loop.h"
#include "quarnex/quarn_socket.h"
#include "services/compression.h"
#include "services/plain_services.h"
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
  pollfd waited{loop.fd(), POLLIN, 0};
  EXPECT_EQ(::poll(&waited, 1, 0), 0);
  quarn.Apri(link);
  EXPECT_EQ(::poll(&waited, 1, 10'000), 1);  // the first tick
  loop.turn(-1ms);
  quarn.Chiudi(link);
}

TEST(ProcessLibrary, AStandInTakesItsPlaceAndLeavesItAlone) {
  struct : ProcessStandIn {
    Library& library() override { return instead; }
    void turn(std::chrono::milliseconds) override {}
    PlainServices services;
    Engine instead{services.all()};
  } standIn;
  const QuarnSocket quarn;
  const Library* const own = composedLibrary();
  ASSERT_TRUE(replaceProcess(&standIn));
  EXPECT_FALSE(replaceProcess(&standIn));
  wrapProcessServices([] { return nullptr; });
  endProcessLibrary();
  EXPECT_EQ(composedLibrary(), &standIn.instead);
  EXPECT_EQ(HostLoop().nextDeadline(), 0ms);
  EXPECT_TRUE(replaceProcess(nullptr));
  EXPECT_EQ(composedLibrary(), own);
}

// Standard error may be a file as well, so the limit has room for the message.
[[noreturn]] void endWithAFullLog(const std::filesystem::path& folder) {
  const rlimit room{2000, 2000};
  ::setrlimit(RLIMIT_FSIZE, &room);
  QuarnSocket quarn;
  quarn.Init(folder.string() + "/");
  quarn.AttivaLog();
  for (int i = 0; i < 100; ++i) quarn.Add("LOCAL", 7, true, false);
  std::exit(0);
}

TEST(ProcessLibraryDeathTest, StatesAtTheEndWhatIsMissingInTheLog) {
  const TemporaryFolder folder;
  EXPECT_EXIT(endWithAFullLog(folder.path()), testing::ExitedWithCode(0), "lines .* are missing in the log");
}

// At least two begin in the same second, so their names would be the same.
[[noreturn]] void recordThreeTimes(const std::filesystem::path& folder) {
  ::setenv("QUARNEX_RECORD_DIR", folder.c_str(), 1);
  for (int i = 0; i < 3; ++i) {
    endProcessLibrary();
    if (composedLibrary() != nullptr) std::exit(1);
    QuarnSocket().Uscita();
  }
  std::exit(0);
}

TEST(ProcessLibraryDeathTest, KeepsEarlierRecordings) {
  const TemporaryFolder folder;
  EXPECT_EXIT(recordThreeTimes(folder.path()), testing::ExitedWithCode(0), "^$");
  int recordings = 0;
  for (const auto& file : std::filesystem::directory_iterator(folder.path())) {
    std::ifstream in(file.path(), std::ios::binary);
    std::ostringstream recorded;
    recorded << decompressed(in)->rdbuf();
    EXPECT_THAT(recorded.str(), testing::HasSubstr("Uscita"));
    ++recordings;
  }
  EXPECT_EQ(recordings, 3);
}

}  // namespace
}  // namespace quarnex
