#include "engine/records/library.h"

#include "engine/records/frm_sock.h"

namespace quarnex {

Library::Library(Services outside, const FormProcedures& toRun) : services(outside), procedures(toRun) {
  setLimits({});
}

void Library::setLimits(const MemoryLimits& toKeep) {
  limits = toKeep;
  services.sockets.limitOutput(limits.unsent, limits.process / 4);
}

// The form is destroyed first, so that its sockets close while the services still exist.
Library::~Library() {
  form.reset();
}

}  // namespace quarnex
