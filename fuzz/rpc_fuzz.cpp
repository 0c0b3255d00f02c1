// Fuzzes the JSON-RPC requests: each line gets at most one line as its answer, and that is valid JSON.
#include <cstdint>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "quarn/commands/rpc_answer.h"
#include "support/stub_host.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  quarnex::test::StubHost host;
  std::string_view lines(reinterpret_cast<const char*>(data), size);
  while (!lines.empty()) {
    const std::string_view line = lines.substr(0, lines.find('\n'));
    lines.remove_prefix(std::min(lines.size(), line.size() + 1));
    const std::string answer = quarnex::tool::answerRequest(host.quarn, line);
    if (answer.find('\n') != std::string::npos) std::abort();
    if (!answer.empty() && !nlohmann::json::accept(answer)) std::abort();
  }
  return 0;
}
