// Tests which failures a trap remembers and when they are settled.
#include "engine/records/trap.h"

#include <gtest/gtest.h>

#include <new>
#include <stdexcept>

#include "engine/diagnostics/event_reports.h"
#include "engine/diagnostics/trace.h"
#include "engine/link/failure_handling.h"
#include "quarnex/failure.h"
#include "support/stub_host.h"

namespace quarnex {
namespace {

struct Traps : testing::Test {
  void fail(Trap& trap, std::int32_t number) {
    trap([&] { throw Failure(number, "a failure"); });
  }

  test::StubHost host;
  Trap outer{host.library};
};

TEST_F(Traps, RememberTheLastFailureUntilItIsSettled) {
  EXPECT_EQ(outer.number(), 0);
  EXPECT_EQ(outer.description(), "");
  fail(outer, 10055);
  fail(outer, 10057);
  EXPECT_EQ(outer.number(), 10057);
  EXPECT_EQ(outer.description(), "a failure");
  fail(outer, 0);  // number 0 means that nothing is wrong
  EXPECT_FALSE(outer.pending());
}

// Out of memory is a failure with a number; an exception that only a defect causes passes through.
TEST_F(Traps, NumberTheExceptionsOfTheStandardLibrary) {
  outer([] { throw std::bad_alloc(); });
  EXPECT_EQ(outer.number(), 7);
  outer([] { throw std::length_error("longer than any text"); });
  EXPECT_EQ(outer.number(), 14);
  EXPECT_THROW(outer([] { throw std::out_of_range("a mistake"); }), std::out_of_range);
  EXPECT_EQ(outer.number(), 14);
}

// A callee's step may fail in its caller's trap, so failures need not have the order of the calls.
TEST_F(Traps, EndInAnyOrderAndLeaveTheOthersPending) {
  {
    Trap middle{host.library};
    fail(middle, 5);
    {
      Trap inner{host.library};
      fail(inner, 6);
      fail(outer, 9);
    }
    middle.clear();
    EXPECT_TRUE(outer.pending());
    fail(middle, 13);
  }
  EXPECT_EQ(outer.number(), 9);
  outer.clear();
  EXPECT_EQ(host.library.pendingTraps, nullptr);
}

TEST(TrapOfACaller, IsSettledByANotice) {
  const struct {
    const char* name;
    void (*notice)(Library&);
  } rows[] = {{"error", [](Library& library) { ErroreETH(library, 1, 0, "x"); }},
              {"warning", [](Library& library) { AvvisoETH(library, 1, 0, "x"); }},
              {"trace", [](Library& library) { TracciaErrore(library, 1, 5, "x"); }}};
  for (const auto& row : rows) {
    test::StubHost host;
    host.addConnected(true);
    Trap caller(host.library);
    caller([] { throw Failure(5, "boom"); });
    row.notice(host.library);
    EXPECT_FALSE(caller.pending()) << row.name;
  }
}

// Also if the reconnection fails at its first step, because the endpoint cannot be read.
TEST(TrapOfACaller, IsSettledByAReconnectionInsideIt) {
  for (const bool readable : {true, false}) {
    test::StubHost host;
    host.addConnected(true);
    if (!readable) host.failing.insert({"remotePort ClientSocket", Failure(10038, "not a socket")});
    Trap caller(host.library);
    Trap reconnection(host.library);
    caller([] { throw Failure(5, "boom"); });
    reconnection([&] { NonRisponde(host.library, host.record(1), {FailureKind::ReplyTimeout}); });
    EXPECT_FALSE(caller.pending());
    EXPECT_EQ(reconnection.pending(), !readable);
  }
}

}  // namespace
}  // namespace quarnex
