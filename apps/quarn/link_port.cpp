#include "quarn/link_port.h"

#include "quarnex/failure.h"
#include "quarnex/ports.h"

namespace quarnex::tool {
namespace {

std::string sumInWords(std::int16_t identifier) {
  return std::to_string(kFirstFreePort) + " + " + std::to_string(identifier) + " = " +
         std::to_string(kFirstFreePort + identifier);
}

}  // namespace

LinkPort portOfLink(std::string_view type, std::int16_t identifier) {
  try {
    const std::int32_t port = PortaPerTipo(type, identifier);
    if (port > 0) return {port, ""};
  } catch (const Failure&) {
    return {0, sumInWords(identifier) + " is above 32767; use an identifier of at most 12667"};
  }
  return {0, sumInWords(identifier) + " is no TCP port; use an identifier of at least " +
                 std::to_string(1 - kFirstFreePort)};
}

std::string identifierWarning(std::int16_t identifier) {
  if (identifier >= 0 && identifier <= 999) return "";
  return "a message has room for an identifier of three digits: peers cannot read those of identifier " +
         std::to_string(identifier) + ", and no text arrives; use 0 to 999";
}

}  // namespace quarnex::tool
