#include "quarnex/ports.h"

#include "engine/records/integer.h"

namespace quarnex {

std::int32_t PortaPerTipo(std::string_view Tipo, std::int16_t IdQuarn) {
  const std::int32_t freePort = toInteger(kFirstFreePort + IdQuarn);
  for (const PortOfType& named : kNamedPorts) {
    if (named.type == Tipo) return named.port;
  }
  return freePort;
}

}  // namespace quarnex
