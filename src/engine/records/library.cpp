#include "engine/records/library.h"

#include "engine/records/frm_sock.h"

namespace quarnex {

Library::Library(Services outside, const FormProcedures& toRun) : services(outside), procedures(toRun) {}

// The form goes first: its sockets close while the services are still there.
Library::~Library() {
  form.reset();
}

}  // namespace quarnex
