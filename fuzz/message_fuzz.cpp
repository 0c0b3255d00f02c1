// Fuzzes the splitting of one message into fields and compares it with an independent splitter.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "engine/message/service_words.h"
#include "engine/message/splitting.h"
#include "support/stub_host.h"

namespace {

// The fields of a message of at most 32,766 characters, as docs/protocol.md defines them.
std::vector<std::string> fieldsOf(const std::string& message) {
  std::vector<std::string> fields;
  if (message.size() < 12) return fields;
  const int count = static_cast<unsigned char>(message[6]) - 48;
  std::size_t at = 7;
  for (int i = 0; i < count && at < message.size() && message[at] == '|'; ++i) {
    std::string field;
    for (++at; at < message.size() && message[at] != '|'; ++at) field += message[at];
    fields.push_back(field);
  }
  return fields;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string message(reinterpret_cast<const char*>(data), std::min<std::size_t>(size, 32'766));
  quarnex::test::StubHost host;
  host.addConnected(true);
  quarnex::DividiMessaggio(host.library, host.record(1), message);
  std::size_t texts = 0, forHost = 0;  // unknown words reach the host, too, but leave no trace
  for (const std::string& field : fieldsOf(message)) {
    if (field.size() < 2) continue;
    if (field[0] != '9') ++texts;
    if (!quarnex::isServiceWord(field)) ++forHost;
  }
  if (forHost != host.record(1).history.textsReceived) std::abort();
  std::size_t traced = 0;
  for (const std::string& line : host.happened()) traced += line.starts_with("X:") ? 1 : 0;
  if (texts != traced) std::abort();
  return 0;
}
