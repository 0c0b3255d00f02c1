// Answers JSON-RPC requests from standard input (quarn rpc).
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "quarn/commands.h"
#include "quarn/commands/rpc_answer.h"
#include "quarn/console.h"
#include "quarn/printable.h"
#include "quarn/shared_arguments.h"
#include "quarn/streams.h"

namespace quarnex::tool {
namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

// No request is answered while more bytes than this are unwritten.
constexpr std::size_t kUnwrittenBytesMax = std::size_t{1024} * 1024;
// Longest time for requests before the links' loop turns again.
constexpr auto kRequestTime = 5ms;

// Longest wait at the end for a reader that accepts no further byte.
constexpr auto kReaderPatience = 30s;

class RpcHost {
 public:
  /// Answers requests until the input ends or standard output fails. Returns the exit status.
  int run();

 private:
  bool mayAnswer() const { return output_.unwritten() < kUnwrittenBytesMax; }
  void answerRequests();
  void pushEvents();
  void flush();
  int end();

  QuarnSocket quarn_;
  RpcSession session_{quarn_};
  HostLoop loop_;
  LineReader input_{kStandardInput, kRequestBytesMax};
  OutputWriter output_{kStandardOutput};
  bool mayHaveLine_ = false;  // input_ may hold a complete line
};

int RpcHost::run() {
  while (!output_.broken() && (mayHaveLine_ || !input_.ended())) {
    const bool reading = !mayHaveLine_ && mayAnswer();
    turnHost(loop_, reading ? &input_ : nullptr, {&output_}, mayHaveLine_ && mayAnswer() ? 0ms : -1ms);
    answerRequests();
    pushEvents();
  }
  flush();
  return end();
}

void RpcHost::flush() {
  std::size_t before = 0;
  do {
    before = output_.unwritten();
    output_.flush(steady_clock::now() + kReaderPatience);
  } while (output_.unwritten() > 0 && output_.unwritten() < before);
}

// A message must not wait for ever for the reader of standard error.
int RpcHost::end() {
  std::vector<std::string> problems = finishFiles(quarn_);
  if (output_.broken()) problems.push_back("standard output: " + output_.error());
  if (const std::size_t bytes = output_.unwritten(); bytes > 0)
    problems.push_back("standard output is not read: " + counted(bytes, "byte") + " not written");
  if (!input_.error().empty()) problems.push_back("standard input: " + input_.error());
  OutputWriter errors{kStandardError};
  for (const std::string& problem : problems) errors.append("quarn: " + printable(problem) + '\n');
  errors.flush(steady_clock::now() + 1s);
  return problems.empty() ? 0 : 1;
}

void RpcHost::answerRequests() {
  const auto end = steady_clock::now() + kRequestTime;
  mayHaveLine_ = true;
  while (mayAnswer() && steady_clock::now() < end) {
    const std::optional<InputLine> line = input_.next();
    mayHaveLine_ = line.has_value();
    if (!line) return;
    const std::string answer = line->tooLong ? refuseLongRequest() : answerRequest(session_, line->text);
    if (!answer.empty()) output_.appendLine(answer);
  }
}

// Behind the answers, so that a number is known before its outcome. While the output is not read, events wait
// in the library's queue, which is bounded.
void RpcHost::pushEvents() {
  while (session_.subscribed && mayAnswer()) {
    const std::optional<LinkEvent> event = quarn_.nextEvent();
    if (!event) return;
    output_.appendLine(notificationOf(*event));
  }
}

std::vector<Example> describedMethods() {
  std::vector<Example> terms;
  for (const RpcMethod& method : rpcMethods())
    terms.push_back({signatureOf(method), std::string(method.summary)});
  return terms;
}

}  // namespace

Command rpcCommand() {
  const auto recording = std::make_shared<std::optional<std::string>>();
  return {
      .name = "rpc",
      .summary = "offer the library's methods as JSON-RPC on standard input",
      .details =
          {"Reads one JSON-RPC 2.0 request per line and answers each in one line, in order. The methods "
           "take their parameters in order. The links stay alive between the requests. The process ends at "
           "the "
           "end of the input.",
           "A request is a line of at most 1 MiB. A character of a text has a code from 0 to 255 and is one "
           "byte; the parameter of Init is the beginning of a path, any Unicode text."},
      .termsHeading = "Methods",
      .terms = describedMethods(),
      .statuses =
          {{0, "the input ended"},
           {1,
            "the input could not be read, the answers could not be written, or lines are missing in the "
            "log or the recording"},
           {2, "the recording could not be created"}},
      .examples = {{"quarn rpc --record links.jsonl", "record everything, for quarn replay"},
                   {"quarn rpc", "then type, for example:"},
                   {R"({"jsonrpc":"2.0","id":1,"method":"Init","params":["/tmp/log-"]})", ""},
                   {R"({"jsonrpc":"2.0","id":2,"method":"Add","params":["MIRTAN",5,true,true]})", ""},
                   {R"({"jsonrpc":"2.0","id":3,"method":"GetMessaggioArrivato","params":[1]})", ""}},
      .arguments = {recordOption(*recording)},
      .run = [recording] { return beginRecording(*recording) ? RpcHost().run() : kNotStarted; }};
}

}  // namespace quarnex::tool
