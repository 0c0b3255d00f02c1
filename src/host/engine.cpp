#include "host/engine.h"

#include "engine/link/socket_events.h"
#include "engine/records/frm_sock.h"
#include "engine/tick/tick.h"

namespace quarnex {
namespace {

constexpr FormProcedures kFormProcedures{.clientConnect = ClientSocket_Connect,
                                         .clientClose = ClientSocket_Close,
                                         .clientReceive = ClientSocket_Receive,
                                         .serverClose = ServerSocket_Close,
                                         .acceptClose = SrvAccept_Close,
                                         .acceptReceive = SrvAccept_Receive,
                                         .serverAccept = ServerSocket_Accept,
                                         .tick = HiTime_QUARN_Tick};

}  // namespace

Engine::Engine(Services outside) : Library(outside, kFormProcedures) {}

}  // namespace quarnex
