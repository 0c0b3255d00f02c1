// Checks the registered component classes, and holds the conversations with them: conformance FREE_IDENTIFIER
#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <string>

#include "conformance/windows/component_bindings.h"
#include "conformance/windows/component_checks.h"
#include "quarnex/failure.h"

namespace quarnex::test {
namespace {

bool holdAll(std::unique_ptr<Binding> (*make)(), const Surroundings& surroundings) {
  bool right = true;
  for (const nlohmann::json& conversation : conversations()) {
    const auto binding = make();
    const std::string wrong = hold(*binding, conversation, surroundings);
    right = right && wrong.empty();
    std::printf("%s: %s%s%s\n", std::string(binding->name()).c_str(),
                conversation["name"].get<std::string>().c_str(),
                wrong.empty() ? "" : ": FAILED: ", wrong.c_str());
    std::fflush(stdout);
  }
  return right;
}

int run(int identifier) {
  const Surroundings surroundings{identifier, std::filesystem::temp_directory_path().string()};
  bool right = checkClasses();
  for (const auto make : {makeEarlyBinding, makeLateBinding, makeScriptBinding})
    right = holdAll(make, surroundings) && right;
  return right ? 0 : 1;
}

}  // namespace
}  // namespace quarnex::test

int main(int count, char** arguments) {
  if (count != 2) return 2;
  ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  int status = 1;
  try {
    status = quarnex::test::run(std::atoi(arguments[1]));
  } catch (const quarnex::Failure& failure) {
    std::printf("failure 0x%08lx: %s\n", static_cast<unsigned long>(failure.number()), failure.what());
  } catch (const std::exception& thrown) {
    std::printf("%s\n", thrown.what());
  }
  ::CoUninitialize();
  return status;
}
