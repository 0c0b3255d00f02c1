// Holds all state of one link.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "engine/records/ack_tally.h"
#include "engine/records/link_ledger.h"
#include "engine/records/text_buffer.h"
#include "quarnex/link_snapshot.h"
#include "services/byte_queue.h"
#include "services/prefetch.h"
#include "services/wall_clock.h"

namespace quarnex {

/// `Stato`: the phase of a link. No other value is ever stored.
constexpr std::int16_t kSocketPhase = 1;
constexpr std::int16_t kConnected = 17;

/// `StatoB`: the sub-state of the exchange on a connected link.
constexpr std::int16_t kExchangeReset = 0;
constexpr std::int16_t kExchangeReady = 1;
constexpr std::int16_t kExchangeWaiting = 2;
constexpr std::int16_t kExchangeIdle = 3;

/// `InEsecuzione`: the guard of a link's handler.
constexpr std::int16_t kHandlerFree = -1;
constexpr std::int16_t kHandlerRunning = 0;

/// `nextWithItems` of a link that is not in the list.
constexpr std::int16_t kNotListed = -1;

/// A second for people, in half the space of an `Instant`: from 1970 to 2106.
struct ShortInstant {
  ShortInstant() = default;
  // NOLINTNEXTLINE(google-explicit-constructor): stands for an instant
  ShortInstant(Instant instant) : second(static_cast<std::uint32_t>(instant.second)) {}
  bool isSet() const { return second != 0; }

  std::uint32_t second = 0;
};

/// History of a link, for the host only. It does not affect the behaviour of the link. A link sends at most
/// two frames a tick and receives one, so 32 bits last for more than 13 years without a pause.
struct LinkHistory {
  std::unique_ptr<LinkLedger> ledger;  // receipts, failures and events; null until the first of them
  std::uint64_t textsSent = 0, textsReceived = 0;
  ShortInstant since;       // last change between connected, disconnected and closed
  ShortInstant limitSince;  // since then the link may not fetch; not set = it may
  ShortInstant lastHeard, lastSent, lastAcknowledged;
  std::uint32_t framesSent = 0, framesReceived = 0;
  std::uint32_t repetitions = 0, badChecksums = 0, reconnections = 0;
  [[no_unique_address]] AckTally acks;  // the next member is in its last byte
  bool messageReceived = false;         // a message has arrived on this connection
};

/// A tick reads only the first cache line of a quiet link, so all fields that it needs are there, up to the
/// number of texts in `CodaInvio`.
struct alignas(kCacheLine) ConnectionRecord {
  bool Attivo = false;                // the link's sockets are activated; the tick visits it
  bool UsaTcp = false;                // False: texts are delivered inside the process
  bool ConnessioneClient = false;     // True: this side calls; False: it listens
  bool FrameCompleto = false;         // a complete frame waits in FrameRicevuto
  bool ChiusuraRemota = false;        // the peer sent "9K"
  bool InFrame = false;               // a frame start has been seen, FrameInCorso is being assembled
  bool DebugAttivo = false;           // trace texts are captured in CodaDebug
  bool ConnessioneSegnalata = false;  // 701 given and no 702 since
  std::int16_t InEsecuzione = kHandlerFree;
  std::int16_t Stato = kSocketPhase;
  std::int16_t StatoB = kExchangeReset;
  std::int16_t IdxQuarn = 0;               // own index in the table
  std::int16_t IdxClient = 0;              // number of the ClientSocket instance, 0 = none
  std::int16_t IdxServer = 0;              // number of the ServerSocket and SrvAccept instances, 0 = none
  std::int16_t AttesaRitrasmissione = 0;   // ticks to the batch's repetition; 0 = no batch is in flight
  std::int16_t ContaTimeoutB = 0;          // reply deadlines missed in a row
  Instant ScadenzaB;                       // deadline of StatoB
  Instant ScadenzaAlive;                   // keep-alive deadline
  ByteQueue Ricevuto;                      // received and not yet framed
  const std::string* DaInviare = nullptr;  // message chosen for sending now: UltimoLotto, or null = none
  TextBuffer CodaInvio;                    // outbound: host texts, "9!", "9OKAY000", "9K"

  Instant ScadenzaStato;              // deadline of Stato
  std::string UltimoInviato;          // last data message sent, repeated until it is acknowledged
  std::string UltimoLotto;            // last batch built
  ByteQueue FrameInCorso;             // frame being assembled, from its start character on
  std::string FrameRicevuto;          // the complete frame
  std::string Tipo;                   // peer type
  std::string UltimoErrore;           // text of the last error notice that had a code
  TextBuffer CodaArrivo;              // inbound: the peer's texts, and the event reports, which are marked
  TextBuffer CodaDebug;               // captured trace texts
  std::int16_t IdQuarn = 0;           // peer identifier
  std::int16_t ContaAlive = 0;        // keep-alive expiries in a row
  std::int16_t ContaNonRisponde = 0;  // failures counted since the last 109
  bool RicevutoQRY = false;           // words received and not yet answered
  bool RicevutoCMD = false;
  bool RicevutoACK = false;
  bool RicevutoNODATA = false;
  bool Chiuso = false;                // closed by a close operation
  bool Aperto = false;                // opened by the host and not closed since
  bool NonRispondeSegnalato = false;  // 109 given and no 112 since
  bool AnomaliaSegnalata = false;     // 991 given and no 992 since
  std::int16_t nextWithItems =
      kNotListed;  // link behind this one in the list of `linksWithItems`, 0 = the last

  std::size_t bytesHeld = 0;  // as counted last, see `countHeldBytes`

  LinkHistory history;
};
static_assert(sizeof(ConnectionRecord) <= 6 * kCacheLine, "ten thousand idle links must stay small");

}  // namespace quarnex
