#include "quarn/link_arguments.h"

#include <charconv>
#include <stdexcept>

namespace quarnex::tool {
namespace {

std::int16_t toIdentifier(const std::string& text) {
  std::int16_t value = 0;
  const auto parsed = std::from_chars(text.data(), text.data() + text.size(), value);
  if (parsed.ec == std::errc{} && parsed.ptr == text.data() + text.size()) return value;
  throw std::invalid_argument('"' + text + "\" is no identifier; give a whole number from 0 to 999");
}

}  // namespace

Argument typeArgument(std::string& type) {
  return {.name = "TIPO",
          .placeholder = "",
          .help = "type of the peer: MIRTAN, TOLV, ... (see quarn ports) or a name of your own",
          .store = storeIn(type),
          .completion = Completion::PeerTypes};
}

Argument identifierArgument(std::int16_t& identifier) {
  const auto store = [&identifier](const std::string& text) { identifier = toIdentifier(text); };
  return {.name = "ID", .placeholder = "", .help = "identifier of the peer, 0 to 999", .store = store};
}

}  // namespace quarnex::tool
