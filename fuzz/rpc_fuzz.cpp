// Fuzzes the JSON-RPC requests: each line gets at most one line as its answer, and that is valid JSON.
// Another parser must not accept a line that ours refuses, apart from a byte order mark and from a zero byte,
// at which that one ends; ours accepts larger numbers.
#include <cstdint>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "quarn/commands/json_scanner.h"
#include "quarn/commands/rpc_answer.h"
#include "support/stub_host.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  quarnex::test::StubHost host;
  quarnex::tool::RpcSession session{host.quarn};
  std::string_view lines(reinterpret_cast<const char*>(data), size);
  while (!lines.empty()) {
    const std::string_view line = lines.substr(0, lines.find('\n'));
    lines.remove_prefix(std::min(lines.size(), line.size() + 1));
    const bool comparable = !line.starts_with("\xEF\xBB\xBF") && line.find('\0') == line.npos;
    if (comparable && nlohmann::json::accept(line) &&
        !quarnex::tool::scanJson(line, [](std::string_view, std::string_view) {}))
      std::abort();
    const std::string answer = quarnex::tool::answerRequest(session, line);
    if (answer.find('\n') != std::string::npos) std::abort();
    if (!answer.empty() && !nlohmann::json::accept(answer)) std::abort();
  }
  return 0;
}
