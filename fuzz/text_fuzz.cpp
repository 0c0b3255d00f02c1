// Fuzzes the encoding of texts: an encoded text arrives unchanged and is decoded to the original, and a
// decoded text can be encoded again.
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>

#include "quarnex/event_report.h"
#include "quarnex/text_rules.h"

namespace {

void require(bool holds) {
  if (!holds) std::abort();
}

// Spells out the rules, so that it does not depend on checkText.
bool arrivesUnchanged(const std::string& text) {
  return text.size() >= 2 && text.size() <= 1600 && text[0] != '9' && text != "VUOTABUFFER" &&
         text.find_first_of("|\2\3") == std::string::npos && !quarnex::parseEventReport(text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const quarnex::TextCheck check = quarnex::checkText(text);
  require(check.position <= text.size());
  require((check.rule == quarnex::TextRule::None) == check.warning.empty());
  require(arrivesUnchanged(text) == (check.warning.empty() && size <= 1600));

  const std::optional<std::string> encoded = quarnex::encodeText(text);
  require(encoded || size > quarnex::kEncodableLengthMax);
  require(!encoded || (arrivesUnchanged(*encoded) && quarnex::decodeText(*encoded) == text));

  const std::optional<std::string> decoded = quarnex::decodeText(text);
  require(!decoded || arrivesUnchanged(text));
  require(!decoded || quarnex::decodeText(*quarnex::encodeText(*decoded)) == decoded);
  return 0;
}
