#include "engine/records/frm_sock.h"

#include <string>

#include "engine/link/socket_events.h"
#include "engine/tick/tick.h"
#include "quarnex/failure.h"

namespace quarnex {

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
  if (array == SocketArray::ClientSocket) ClientSocket_Connect(library_, index, code);
}

void FrmSock::onClose(SocketArray array, std::int16_t index, std::int16_t code) {
  switch (array) {
    case SocketArray::ClientSocket:
      return ClientSocket_Close(library_, index, code);
    case SocketArray::ServerSocket:
      return ServerSocket_Close(library_, index, code);
    case SocketArray::SrvAccept:
      return SrvAccept_Close(library_, index, code);
  }
}

void FrmSock::onReceive(SocketArray array, std::int16_t index, std::int16_t code) {
  if (array == SocketArray::ClientSocket) ClientSocket_Receive(library_, index, code);
  if (array == SocketArray::SrvAccept) SrvAccept_Receive(library_, index, code);
}

void FrmSock::onAccept(SocketArray array, std::int16_t index, std::int32_t handle, std::int16_t code) {
  if (array == SocketArray::ServerSocket) ServerSocket_Accept(library_, index, handle, code);
}

void FrmSock::onTick() {
  HiTime_QUARN_Tick(library_);
}

FrmSock& makeForm(Library& library) {
  library.form = std::make_unique<FrmSock>(library);
  return *library.form;
}

}  // namespace quarnex
