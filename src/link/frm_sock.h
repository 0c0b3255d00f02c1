// FrmSock: the hidden form that owns the three control arrays and the timer HiTime_QUARN, and passes their events on.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "component/library.h"
#include "link/socket_service.h"
#include "link/timer_service.h"

namespace quarnex {

class FrmSock final : public SocketEvents, public TimerEvents {
 public:
  explicit FrmSock(Library& library);
  ~FrmSock() override;
  FrmSock(const FrmSock&) = delete;
  FrmSock& operator=(const FrmSock&) = delete;

  /// Makes element `index` of `array`. If that fails the element does not exist, and using it fails with 340.
  void create(SocketArray array, std::int16_t index);

  /// Element `index`; failure 340 if it does not exist.
  SocketInstance& socket(SocketArray array, std::int16_t index) {
    const auto& elements = elements_[static_cast<std::size_t>(array)];
    const auto slot = static_cast<std::size_t>(index);
    if (index < 0 || slot >= elements.size() || elements[slot] == nullptr) noSuchElement(index);
    return *elements[slot];
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

/// The library's form, made on first use.
FrmSock& Form(Library& library);

SocketInstance& ClientSocket(Library& library, std::int16_t index);
SocketInstance& ServerSocket(Library& library, std::int16_t index);
SocketInstance& SrvAccept(Library& library, std::int16_t index);

/// The socket that carries a link's frames.
SocketInstance& SocketDelLink(Library& library, const ConnectionRecord& record);

}  // namespace quarnex
