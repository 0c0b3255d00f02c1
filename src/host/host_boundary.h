// Converts every exception to a failure with a number, where the library returns to its host.
#pragma once

#include <exception>
#include <thread>

#include "engine/records/library.h"
#include "engine/records/trap.h"
#include "services/assertion.h"

namespace quarnex {

/// Runs `body` on the library's thread and converts its exceptions.
template <class Body>
auto numbered(const Library& library, Body&& body) {
  QUARNEX_ASSERT(library.thread == std::this_thread::get_id());
  try {
    return body();
  } catch (const std::exception& thrown) {
    throw failureOf(library, thrown);
  }
}

}  // namespace quarnex
