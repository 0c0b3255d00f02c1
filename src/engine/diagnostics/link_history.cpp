#include "engine/diagnostics/link_history.h"

#include <memory>
#include <string>

#include "engine/records/trap.h"

namespace quarnex {

void rememberFailure(Library& library, ConnectionRecord& rec, std::string_view reason) {
  Trap withoutMemory{library};
  withoutMemory([&] {
    rec.history.lastFailure = std::make_unique<LinkHistory::Failure>(
        LinkHistory::Failure{library.services.clock.now(), rec.Stato == kConnected, std::string(reason)});
  });
}

}  // namespace quarnex
