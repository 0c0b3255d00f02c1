#include "engine/records/frm_sock.h"

#include <string>

#include "quarnex/failure.h"

namespace quarnex {
namespace {

class StepCount {
 public:
  explicit StepCount(Library& library) : steps_(library.steps) { ++steps_; }
  ~StepCount() { --steps_; }
  StepCount(const StepCount&) = delete;
  StepCount& operator=(const StepCount&) = delete;

 private:
  int& steps_;
};

}  // namespace

FrmSock::FrmSock(Library& library) : library_(library) {
  library.services.timer.setEvents(this);
}

FrmSock::~FrmSock() {
  library_.services.timer.setEvents(nullptr);
}

void FrmSock::create(SocketArray array, std::int16_t index) {
  auto& elements = elements_[static_cast<std::size_t>(array)];
  const auto slot = static_cast<std::size_t>(index);
  if (elements.size() <= slot) elements.resize(slot + 1);
  elements[slot] = library_.services.sockets.create(array, index, *this);
}

void FrmSock::noSuchElement(std::int16_t index) {
  throw Failure(340, "Control array element '" + std::to_string(index) + "' doesn't exist");
}

void FrmSock::onConnect(SocketArray array, std::int16_t index, std::int16_t code) {
  const StepCount step(library_);
  if (array == SocketArray::ClientSocket) library_.procedures.clientConnect(library_, index, code);
}

void FrmSock::onClose(SocketArray array, std::int16_t index, std::int16_t code) {
  const StepCount step(library_);
  switch (array) {
    case SocketArray::ClientSocket:
      return library_.procedures.clientClose(library_, index, code);
    case SocketArray::ServerSocket:
      return library_.procedures.serverClose(library_, index, code);
    case SocketArray::SrvAccept:
      return library_.procedures.acceptClose(library_, index, code);
  }
}

void FrmSock::onReceive(SocketArray array, std::int16_t index, std::int16_t code) {
  const StepCount step(library_);
  if (array == SocketArray::ClientSocket) library_.procedures.clientReceive(library_, index, code);
  if (array == SocketArray::SrvAccept) library_.procedures.acceptReceive(library_, index, code);
}

void FrmSock::onAccept(SocketArray array, std::int16_t index, std::int32_t handle, std::int16_t code) {
  const StepCount step(library_);
  if (array == SocketArray::ServerSocket) library_.procedures.serverAccept(library_, index, handle, code);
}

void FrmSock::onTick() {
  const StepCount step(library_);
  library_.procedures.tick(library_);
}

FrmSock& makeForm(Library& library) {
  library.form = std::make_unique<FrmSock>(library);
  return *library.form;
}

}  // namespace quarnex
