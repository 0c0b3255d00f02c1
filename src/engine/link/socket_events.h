// Handles the seven socket events, which move a link between its socket phase and the connected phase
// (FrmSock). Data is not read here. The handlers never fail. `Index` is the number of the instance that
// raised the event.
#pragma once

#include <cstdint>

#include "engine/records/library.h"

namespace quarnex {

void ClientSocket_Connect(Library& library, std::int16_t Index, std::int16_t ErrorCode);
void ClientSocket_Close(Library& library, std::int16_t Index, std::int16_t ErrorCode);
void ClientSocket_Receive(Library& library, std::int16_t Index, std::int16_t ErrorCode);
void ServerSocket_Accept(Library& library, std::int16_t Index, std::int32_t SocketHandle,
                         std::int16_t ErrorCode);
void ServerSocket_Close(Library& library, std::int16_t Index, std::int16_t ErrorCode);
void SrvAccept_Close(Library& library, std::int16_t Index, std::int16_t ErrorCode);
void SrvAccept_Receive(Library& library, std::int16_t Index, std::int16_t ErrorCode);

}  // namespace quarnex
