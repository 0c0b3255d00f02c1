// Starts an example as a host of the test kit, in virtual time. The linker passes the calls of its `main`
// here.
#include <exception>
#include <iostream>

#include "quarnex/testing.h"

int exampleMain() __asm__("__real_main");
int virtualMain() __asm__("__wrap_main");

int virtualMain() try {
  quarnex::testkit::simulate([](quarnex::testkit::TestSite& site) {
    const auto& example = site.addProgram("example", exampleMain);
    site.runUntil([&] { return !example.running(); }, std::chrono::hours(1), "the example has ended");
    site.require(example.exitStatus() == 0, "the example failed");
  });
  return 0;
} catch (const std::exception& failure) {
  std::cerr << failure.what() << '\n';
  return 1;
}
