// Owns the sockets in their three control arrays and passes their events and the ticks to the engine
// (FrmSock).
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "engine/records/library.h"
#include "services/socket_service.h"
#include "services/timer_service.h"

namespace quarnex {

/// The engine's procedures for the events of the form. `Index` is the number of the socket instance that
/// raised the event, codes are Windows Sockets numbers. The form belongs to a lower layer than these
/// procedures, so the code that composes a library passes them in.
struct FormProcedures {
  using SocketProcedure = void (*)(Library& library, std::int16_t Index, std::int16_t ErrorCode);

  SocketProcedure clientConnect, clientClose, clientReceive;
  SocketProcedure serverClose, acceptClose, acceptReceive;
  void (*serverAccept)(Library& library, std::int16_t Index, std::int32_t SocketHandle,
                       std::int16_t ErrorCode);
  void (*tick)(Library& library);
};

class FrmSock final : public SocketEvents, public TimerEvents {
 public:
  explicit FrmSock(Library& library);
  ~FrmSock() override;
  FrmSock(const FrmSock&) = delete;
  FrmSock& operator=(const FrmSock&) = delete;

  /// Creates element `index` of `array`. Throws if the service does; the element then does not exist, and
  /// every use of it fails with 340.
  void create(SocketArray array, std::int16_t index);

  /// Element `index`, or nullptr if it does not exist.
  SocketInstance* find(SocketArray array, std::int16_t index) const {
    const auto& elements = elements_[static_cast<std::size_t>(array)];
    const auto slot = static_cast<std::size_t>(index);
    return index < 0 || slot >= elements.size() ? nullptr : elements[slot].get();
  }
  /// Element `index`; failure 340 if it does not exist.
  SocketInstance& socket(SocketArray array, std::int16_t index) const {
    SocketInstance* element = find(array, index);
    if (element == nullptr) noSuchElement(index);
    return *element;
  }

  void onConnect(SocketArray array, std::int16_t index, std::int16_t code) override;
  void onClose(SocketArray array, std::int16_t index, std::int16_t code) override;
  void onReceive(SocketArray array, std::int16_t index, std::int16_t code) override;
  void onAccept(SocketArray array, std::int16_t index, std::int32_t handle, std::int16_t code) override;
  void onTick() override;

 private:
  [[noreturn]] static void noSuchElement(std::int16_t index);

  Library& library_;
  std::vector<std::unique_ptr<SocketInstance>> elements_[3];  // by array, then by index
};

/// True if a socket that reads `state` is free to listen or call.
constexpr bool isIdle(std::int32_t state) {
  return state == 0 || state == 1;
}

FrmSock& makeForm(Library& library);

/// The library's form, made on first use.
inline FrmSock& Form(Library& library) {
  return library.form ? *library.form : makeForm(library);
}

inline SocketInstance& ClientSocket(Library& library, std::int16_t index) {
  return Form(library).socket(SocketArray::ClientSocket, index);
}
inline SocketInstance& ServerSocket(Library& library, std::int16_t index) {
  return Form(library).socket(SocketArray::ServerSocket, index);
}
inline SocketInstance& SrvAccept(Library& library, std::int16_t index) {
  return Form(library).socket(SocketArray::SrvAccept, index);
}

/// The socket that carries a link's frames.
inline SocketInstance& frameSocket(Library& library, const ConnectionRecord& record) {
  return record.ConnessioneClient ? ClientSocket(library, record.IdxClient)
                                  : SrvAccept(library, record.IdxServer);
}

}  // namespace quarnex
