/* The exchange between the two ends of a connection, as a model for the checker Spin.

   scripts/check_model.sh runs every check of checks.txt on this model and compares the outcome with the expected one;
   scripts/check_model.sh NAME also prints the steps of that check's counterexample. ../protocol-limits.md states the
   consequences for an application.

   The model contains a client link and a server link with the sub-states (StatoB 0 to 3), the message kept for repetition
   (UltimoInviato), the batch that awaits acknowledgement (UltimoLotto, AttesaRitrasmissione), the outbound queue, the
   acknowledgement that a data message carries, the overdue answers, and the reconnection that empties the queues.
   Each alternative of Tick is one tick of a link; a frame is answered on the tick that completes it.

   It rests on these assumptions. A check is exhaustive within the numbers of its line in checks.txt:
   - Texts are numbered by sender and queued in order, so a batch is a range. Each host gives its link TEXTS texts (or
     CLIENT_TEXTS, SERVER_TEXTS); a batch takes up to BATCH of them (in the product 20), a queue holds CAPACITY (in the
     product 5000).
   - A link sends unasked only while fewer than FLIGHT frames are under way.
   - Time is modelled as order alone: a tick may come at any moment between two frames. An answer is overdue when no frame is under
     way any more or, LATE times, although one is.
   - The network keeps the order of frames. It loses or damages DAMAGE of them, repeats REPEAT of them behind those
     under way, and cuts the connection CUT times. With HOLE a connection, from some moment on, delivers nothing (1) or
     only damage to the client (2), until it ends. The checksum detects every damage.
   - A connection that has ended exists again at once. A cut may leave half a frame, which spoils the next one received.
   - Keep-alive and failed sends reconnect a link RECONNECT times, at any moment. Where the rule of the keep-alive
     itself matters (KEEPALIVE) it is counted in overdue answers: a client's 22 seconds end before its fourth, a
     server's 32 before its sixth. */

/* -------- numbers, which a check sets */
#ifndef TEXTS
#define TEXTS 2
#endif
#ifndef CLIENT_TEXTS
#define CLIENT_TEXTS TEXTS
#endif
#ifndef SERVER_TEXTS
#define SERVER_TEXTS TEXTS
#endif
#ifndef BATCH
#define BATCH 1
#endif
#ifndef CAPACITY
#define CAPACITY TEXTS
#endif
#ifndef FLIGHT
#define FLIGHT 4
#endif
#ifndef DAMAGE
#define DAMAGE 0
#endif
#ifndef REPEAT
#define REPEAT 0
#endif
#ifndef LATE
#define LATE 0
#endif
#ifndef CUT
#define CUT 0
#endif
#ifndef RECONNECT
#define RECONNECT 0
#endif
#ifndef HOLE
#define HOLE 0
#endif
#ifndef CLEAR
#define CLEAR 0 /* number of times that a host sends VUOTABUFFER */
#endif
#define NOBODY 2
#ifndef CLOSER
#define CLOSER NOBODY /* the role whose host closes the link: its last text is "9K" */
#endif
#ifndef BUSY
#define BUSY NOBODY /* the role whose host always has another text waiting */
#endif

#define CLIENT 0
#define SERVER 1
#define PEER(i) (1 - (i))
#define LIMIT(i) (PEER(i) * CLIENT_TEXTS + (i) * SERVER_TEXTS)

#define RESET 0
#define READY 1
#define WAITING 2
#define IDLE 3

#define ACK 1
#define CMD 2
#define QRY 4
#define NODATA 8

#ifdef SILENT /* a variant: the receiver acknowledges nothing */
#define ACK_WORD 0
#else
#define ACK_WORD ACK
#endif

#define OVERDUE_TOLERATED 5
#define QUIET_TOLERATED(i) ((i) == CLIENT -> 3 : 5)

typedef Record {
  byte stato;                         /* StatoB */
  byte overdue;                       /* ContaTimeoutB */
  byte quiet;                         /* answers overdue since the last good message, with KEEPALIVE only */
  byte queued, head;                  /* CodaInvio: texts head to queued - 1 */
  bool attesa;                        /* AttesaRitrasmissione is not 0, */
  byte lotto, lottoEnd;               /* UltimoLotto: texts lotto to lottoEnd - 1 */
  byte inviato;                       /* words of UltimoInviato, 0 = it is empty; */
  byte inviatoFrom, inviatoEnd;       /* its texts */
  bool halfFrame;                     /* FrameInCorso left from an older connection */
  byte excused;                       /* texts below this were queued before an end of the connection (702) */
  byte delivered[TEXTS];              /* how often the peer put it into CodaArrivo; 2 = twice or more */
  byte flying[TEXTS];                 /* frames under way that carry it */
  bool waits[TEXTS]                   /* in the peer's CodaArrivo, not yet taken, with COLLECT only */
#ifdef RECEIPTS
  ;
  byte frames, acks;                  /* data frames of this connection, and their acknowledgements */
  byte queries, queriesBefore;        /* sent since all were acknowledged; before the last data frame */
  byte answers;                       /* "9NODATA" since then */
  bool queried;                       /* the peer has queried on this connection */
  byte here, before;                  /* data frames of the batch here; of others before them */
  bool inFrame;                       /* the batch was in a frame of any connection */
  byte unsure, unsureEnd;             /* texts whose acknowledgement may be another one's */
  bool dropped[TEXTS]                 /* has the outcome "dropped" */
#endif
}

Record link[2];
chan to[2] = [FLIGHT] of {byte, byte, byte}; /* frames on their way to a role: words, first text, end of texts */

byte damage = DAMAGE, repeats = REPEAT, late = LATE, cuts = CUT, reconnects = RECONNECT, clears = CLEAR;
byte holes = (HOLE > 0 -> 1 : 0);
bool hole, closed;
byte words, from, until, k; /* scratch of one step */
bool ready;

#define WAITS(i) (len(to[i]) > 0)
#define ROOM (len(to[CLIENT]) + len(to[SERVER]) < FLIGHT)
#define UNDER_WAY (WAITS(CLIENT) || WAITS(SERVER))
#define IN(t, f, e) ((t) >= (f) && (t) < (e))
#define SETTLED(i, t) (link[i].delivered[t] > 0 || (t) < link[i].excused)
#define HELD(i, t) \
  ((t) >= link[i].head || (link[i].attesa && IN(t, link[i].lotto, link[i].lottoEnd)) || \
   (link[i].inviato && IN(t, link[i].inviatoFrom, link[i].inviatoEnd)))
/* Not delivered, and no longer anywhere from where it could be delivered. */
#define LOST(i, t) ((t) < link[i].queued && !SETTLED(i, t) && !HELD(i, t) && link[i].flying[t] == 0)

#define ALL_SETTLED(i) \
  (link[i].queued == LIMIT(i) && \
   (LIMIT(i) == 0 || (SETTLED(i, 0) && SETTLED(i, LIMIT(i) / 2) && SETTLED(i, LIMIT(i) - 1)))) /* up to three */
#define ALL_GONE(i) (link[i].queued == LIMIT(i) && link[i].head == LIMIT(i) && !link[i].attesa && !link[i].inviato)
#ifdef EVENTUALLY_SETTLED /* every text is delivered, or an end of the connection explains why not */
ltl settled { <> (ALL_SETTLED(CLIENT) && ALL_SETTLED(SERVER)) }
#endif
#ifdef EVENTUALLY_GONE /* every text leaves its sender, acknowledged or dropped by a reconnection */
ltl gone { <> (ALL_GONE(CLIENT) && ALL_GONE(SERVER)) }
#endif

#ifdef EVENTUALLY_CLOSED /* the peer receives the request to close */
ltl closes { <> closed }
#endif

/* -------- steps that a check forbids */
inline finish() {
#ifdef NO_LOSS
  k = 0;
  do
  :: k < TEXTS -> assert(!LOST(CLIENT, k)); assert(!LOST(SERVER, k)); k++
  :: else -> break
  od;
#endif
  words = 0; from = 0; until = 0; k = 0; ready = false
}

inline checkDelivery(i, t) {
#ifdef NO_DUPLICATE
  assert(link[i].delivered[t] == 0);
#endif
#ifdef IN_ORDER
  assert(t + 1 >= TEXTS || link[i].delivered[t + 1] == 0);
  assert(t + 2 >= TEXTS || link[i].delivered[t + 2] == 0);
#endif
  skip
}

inline checkAcknowledged(i, f, e) {
#ifdef ACK_MEANS_DELIVERED
  k = f;
  do
  :: k < e -> assert(SETTLED(i, k)); k++
  :: else -> break
  od;
#endif
  skip
}

/* -------- receipts, with RECEIPTS only: an acknowledged text was delivered, a dropped one never is */
#ifdef RECEIPTS
#define SETTLE_UNSURE(i) link[i].unsure = 0; link[i].unsureEnd = 0
#define NOTE_QUERY_SENT(i) link[i].queries++
#define NOTE_QUERY(i) link[i].queried = true
#else
#define NOTE_QUERY_SENT(i) skip
#define NOTE_QUERY(i) skip
#endif

inline noteDropped(i, f, e) {
#ifdef RECEIPTS
  k = f;
  do
  :: k < e -> assert(link[i].delivered[k] == 0); link[i].dropped[k] = true; k++
  :: else -> break
  od
#else
  skip
#endif
}

inline claimAcknowledged(i, f, e) {
  k = f;
  do
  :: k < e -> assert(link[i].delivered[k] > 0); k++
  :: else -> break
  od
}

inline noteAbandoned(i) {
#ifdef RECEIPTS
  SETTLE_UNSURE(i);
  if :: link[i].attesa && !link[i].inFrame -> noteDropped(i, link[i].lotto, link[i].lottoEnd) :: else fi;
  noteDropped(i, link[i].head, link[i].queued)
#else
  skip
#endif
}

inline noteConnection(i) {
#ifdef RECEIPTS
  SETTLE_UNSURE(i);
  link[i].frames = 0; link[i].acks = 0; link[i].queries = 0; link[i].queriesBefore = 0; link[i].answers = 0;
  link[i].queried = false; link[i].here = 0; link[i].before = 0
#else
  skip
#endif
}

inline noteDataSent(i) {
#ifdef RECEIPTS
  if
  :: link[i].attesa && link[i].inviatoFrom == link[i].lotto && link[i].inviatoEnd == link[i].lottoEnd ->
    if :: link[i].here == 0 -> link[i].before = link[i].frames :: else fi;
    link[i].here++;
    link[i].inFrame = true
  :: else
  fi;
  link[i].frames++;
  link[i].queriesBefore = link[i].queries
#else
  skip
#endif
}

inline noteAck(i, data) {
#ifdef RECEIPTS
  if
  :: (!(data) || (i == SERVER && link[i].queried && link[i].inviato)) && link[i].acks < link[i].frames ->
    link[i].acks++
  :: else
  fi;
  if
  :: link[i].attesa && link[i].here == 0 ->
    SETTLE_UNSURE(i);
    if :: !link[i].inFrame -> noteDropped(i, link[i].lotto, link[i].lottoEnd) :: else fi
  :: link[i].attesa && link[i].here > 0 && link[i].unsureEnd == 0 && link[i].acks > link[i].before ->
    claimAcknowledged(i, link[i].lotto, link[i].lottoEnd)
  :: link[i].attesa && link[i].here > 0 && !(link[i].unsureEnd == 0 && link[i].acks > link[i].before) ->
    if :: link[i].unsureEnd != link[i].lotto -> link[i].unsure = link[i].lotto :: else fi;
    link[i].unsureEnd = link[i].lottoEnd
  :: else
  fi;
  link[i].here = 0;
  if
  :: link[i].acks == link[i].frames ->
    claimAcknowledged(i, link[i].unsure, link[i].unsureEnd);
    SETTLE_UNSURE(i);
    link[i].frames = 0; link[i].acks = 0; link[i].before = 0; /* the same, with fewer states */
    link[i].queries = link[i].queries - link[i].queriesBefore;
    link[i].queriesBefore = 0; link[i].answers = 0
  :: else
  fi
#else
  skip
#endif
}

inline noteNoData(i) {
#ifdef RECEIPTS
  link[i].answers++;
  if
  :: link[i].answers > link[i].queriesBefore ->
    SETTLE_UNSURE(i);
    link[i].frames = (link[i].here > 0 -> 1 : 0); link[i].acks = link[i].frames; link[i].before = 0;
    link[i].queries = (link[i].queries > link[i].answers -> link[i].queries - link[i].answers : 0);
    link[i].queriesBefore = 0; link[i].answers = 0
  :: else
  fi
#else
  skip
#endif
}

/* -------- frames */
inline say(i, w, f, e) {
  printf("STEP %d sends", i);
  k = f;
  do
  :: k < e -> printf(" TEXT%d%d", i, k); k++
  :: else -> break
  od;
  if :: (w) & CMD -> printf(" 9CMD") :: else fi;
  if :: (w) & ACK -> printf(" 9ACK") :: else fi;
  if :: (w) & QRY -> printf(" 9QRY") :: else fi;
  if :: (w) & NODATA -> printf(" 9NODATA") :: else fi;
  printf("\n")
}

inline send(i, w, f, e) {
  say(i, w, f, e);
  if
  :: hole && HOLE == 1
  :: else ->
    to[PEER(i)]!w, f, e;
    k = f;
    do
    :: k < e -> link[i].flying[k]++; k++
    :: else -> break
    od
  fi
}

inline take(i) {
  to[i]?words, from, until;
  k = from;
  do
  :: k < until -> link[PEER(i)].flying[k]--; k++
  :: else -> break
  od
}

/* -------- the link's procedures */
inline SvuotaUltimoInviato(i) {
  link[i].inviato = 0; link[i].inviatoFrom = 0; link[i].inviatoEnd = 0
}

inline ConcludiLotto(i) {
  link[i].attesa = false; link[i].lotto = 0; link[i].lottoEnd = 0
}

inline ScegliInvio(i) {
  if
  :: !link[i].attesa && (link[i].head < link[i].queued || i == BUSY) ->
    link[i].lotto = link[i].head;
    link[i].lottoEnd =
      (link[i].queued - link[i].head > BATCH -> link[i].head + BATCH : link[i].queued);
    link[i].head = link[i].lottoEnd;
    link[i].attesa = true;
#ifdef RECEIPTS
    link[i].here = 0; link[i].inFrame = false;
#endif
    printf("STEP %d makes a batch\n", i)
  :: else
  fi;
  ready = link[i].attesa
}

inline SendUltimoInviato(i) {
  noteDataSent(i);
  send(i, link[i].inviato, link[i].inviatoFrom, link[i].inviatoEnd);
#ifdef FORGETFUL /* a variant: the sender awaits no acknowledgement */
  SvuotaUltimoInviato(i); ConcludiLotto(i);
#endif
  link[i].stato = WAITING
}

inline SendLotto(i, w) {
  link[i].inviato = w; link[i].inviatoFrom = link[i].lotto; link[i].inviatoEnd = link[i].lottoEnd;
  SendUltimoInviato(i)
}

inline EndConnection() {
  do
  :: WAITS(CLIENT) -> take(CLIENT)
  :: WAITS(SERVER) -> take(SERVER)
  :: else -> break
  od;
  hole = false;
  noteConnection(CLIENT);
  noteConnection(SERVER);
  link[CLIENT].quiet = 0; link[SERVER].quiet = 0
}

inline Report702() {
  link[CLIENT].excused = link[CLIENT].queued; link[SERVER].excused = link[SERVER].queued
}

inline DropUncollected(i) {
  k = 0;
  do
  :: k < TEXTS ->
#ifdef COLLECTED
    assert(!link[PEER(i)].waits[k]);
#endif
    link[PEER(i)].waits[k] = false; k++
  :: else -> break
  od
}

inline ETH_Riconnetti(i) {
  printf("STEP %d reconnects and empties its queues\n", i);
#ifdef NO_RECONNECTION
  assert(false);
#endif
  EndConnection();
  Report702();
  noteAbandoned(i);
  SvuotaUltimoInviato(i);
  ConcludiLotto(i);
  DropUncollected(i);
  link[i].head = link[i].queued;
  link[i].halfFrame = false;
  link[i].overdue = 0;
  link[i].stato = RESET
}

inline Deliver(i) {
  k = from;
  do
  :: k < until && PEER(i) == CLOSER && k == LIMIT(CLOSER) - 1 -> link[CLOSER].delivered[k] = 1; k++
  :: k < until && !(PEER(i) == CLOSER && k == LIMIT(CLOSER) - 1) ->
    printf("STEP %d gives TEXT%d%d to its host\n", i, PEER(i), k);
    checkDelivery(PEER(i), k);
#ifdef RECEIPTS
    assert(!link[PEER(i)].dropped[k]);
#endif
    if :: link[PEER(i)].delivered[k] < 2 -> link[PEER(i)].delivered[k]++ :: else fi;
#ifdef COLLECT
    link[PEER(i)].waits[k] = true;
#endif
    k++
  :: else -> break
  od
}

inline AnswerAck(i, data) {
  noteAck(i, data);
  if :: link[i].attesa -> checkAcknowledged(i, link[i].lotto, link[i].lottoEnd) :: else fi;
  SvuotaUltimoInviato(i);
  ConcludiLotto(i);
  link[i].stato = READY
}

inline AnswerData(i) {
  if
  :: i == SERVER ->
    if :: ACK_WORD -> send(i, ACK_WORD, 0, 0) :: else fi;
    link[i].stato = IDLE
  :: else ->
    ScegliInvio(i);
    if
    :: link[i].inviato == 0 && !ready ->
      NOTE_QUERY_SENT(i);
      send(i, ACK_WORD | QRY, 0, 0);
      link[i].stato = WAITING
    :: link[i].inviato ->
      link[i].inviato = link[i].inviato | ACK_WORD;
      SendUltimoInviato(i)
    :: else ->
      SendLotto(i, CMD | ACK_WORD)
    fi
  fi
}

inline AnswerQuery(i) {
  NOTE_QUERY(i);
  if
  :: link[i].inviato -> SendUltimoInviato(i)
  :: else ->
    ScegliInvio(i);
    if
    :: ready -> SendLotto(i, CMD)
    :: else -> send(i, NODATA, 0, 0); link[i].stato = IDLE
    fi
  fi
}

inline HandleFrame(i) {
  link[i].overdue = 0;
  if
  :: link[i].halfFrame || (hole && HOLE == 2 && i == CLIENT) ->
    printf("STEP %d drops a damaged frame\n", i);
    link[i].halfFrame = false
  :: else ->
    link[i].quiet = 0;
    Deliver(i);
    bool close9K = (until > from && PEER(i) == CLOSER && until == LIMIT(CLOSER));
    byte got = words;
    if :: got & ACK -> AnswerAck(i, got & CMD) :: else fi;
    if :: got & CMD -> AnswerData(i) :: else fi;
    if :: got & QRY -> AnswerQuery(i) :: else fi;
    if :: got & NODATA -> noteNoData(i); link[i].stato = IDLE :: else fi;
    if :: close9K -> ETH_Riconnetti(i); closed = true :: else fi;
    close9K = false; got = 0
  fi
}

inline HandleStato_A(i) {
  if
  :: link[i].inviato -> SendUltimoInviato(i)
  :: else ->
    ScegliInvio(i);
    if
    :: ready -> SendLotto(i, CMD)
    :: else -> NOTE_QUERY_SENT(i); send(i, QRY, 0, 0)
    fi
  fi;
  link[i].stato = WAITING
}

inline HandleStato_B(i) {
  printf("STEP %d waited 5 seconds\n", i);
#ifdef KEEPALIVE
  link[i].quiet++;
#endif
  link[i].overdue++;
  if
#ifdef KEEPALIVE
  :: link[i].quiet > QUIET_TOLERATED(i) -> ETH_Riconnetti(i)
#endif
#ifdef PATIENT /* a variant: it never gives up */
  :: link[i].overdue > OVERDUE_TOLERATED -> link[i].overdue = 0; link[i].stato = READY
#else
  :: link[i].overdue > OVERDUE_TOLERATED -> ETH_Riconnetti(i)
#endif
  :: else -> link[i].stato = READY
  fi
}

/* -------- the processes */
inline Tick(i) {
  if
  :: d_step { !closed && WAITS(i) -> take(i); HandleFrame(i); finish() }
  :: d_step { !closed && damage > 0 && WAITS(i) ->
       printf("STEP %d receives a damaged frame\n", i);
       damage--; take(i); link[i].overdue = 0; link[i].halfFrame = false; finish() }
  :: d_step { !closed && damage > 0 && WAITS(i) ->
       printf("STEP %d never receives the next frame\n", i);
       damage--; take(i); finish() }
  :: d_step { !closed && link[i].stato == RESET ->
       SvuotaUltimoInviato(i); link[i].overdue = 0; link[i].stato = READY; finish() }
  :: d_step { !closed && link[i].stato == READY && (i == CLIENT || link[i].inviato) && ROOM ->
       HandleStato_A(i); finish() }
#ifndef NO_TIMEOUT /* a variant: no answer is ever overdue */
  :: d_step { !closed && link[i].stato == WAITING && (late > 0 || !UNDER_WAY) ->
       if :: UNDER_WAY -> late-- :: else fi;
       HandleStato_B(i); finish() }
#endif
  :: d_step { !closed && link[i].stato == IDLE -> ScegliInvio(i); link[i].stato = READY; finish() }
  fi
}

/* A server with nothing to send may end, a client only after the link was closed. */
active proctype Client() {
  do
  :: Tick(CLIENT)
  :: closed -> break
  od
}

active proctype Server() {
end:
  do
  :: Tick(SERVER)
  :: closed -> break
  od
}

inline Host(i) {
end:
  do
  :: d_step { !closed && link[i].queued < LIMIT(i) ->
       printf("STEP %d is given TEXT%d%d\n", i, i, link[i].queued);
       link[i].queued++;
       if
       :: link[i].queued - link[i].head > CAPACITY -> noteDropped(i, link[i].head, link[i].head + 1); link[i].head++
       :: else
       fi;
       finish() }
  :: d_step { !closed && clears > 0 ->
       printf("STEP %d is given VUOTABUFFER\n", i);
       clears--;
       noteAbandoned(i);
       ConcludiLotto(i);
       link[i].head = link[i].queued; link[i].excused = link[i].queued; finish() }
#ifdef COLLECT
  :: d_step { link[PEER(i)].waits[0] || link[PEER(i)].waits[TEXTS - 1] ->
       printf("STEP %d hands its texts to its host\n", i);
       k = 0;
       do
       :: k < TEXTS -> link[PEER(i)].waits[k] = false; k++
       :: else -> break
       od;
       finish() }
#endif
  :: closed -> break
  od
}

active proctype ClientHost() { Host(CLIENT) }
active proctype ServerHost() { Host(SERVER) }

inline Repeat(i) {
  d_step { !closed && repeats > 0 && WAITS(i) && ROOM ->
    printf("STEP %d will receive the next frame twice\n", i);
    repeats--; to[i]?<words, from, until>; to[i]!words, from, until;
    k = from;
    do
    :: k < until -> link[PEER(i)].flying[k]++; k++
    :: else -> break
    od;
    finish() }
}

/* Both sides see the connection end and come back; the exchange continues in its present state. */
inline Cut(clientHalf, serverHalf) {
  d_step { !closed && cuts > 0 ->
    printf("STEP 0 and 1: connection cut and made again\n");
    cuts--; EndConnection();
#ifndef CUT_EXCUSES_NOTHING
    Report702();
#endif
    link[CLIENT].halfFrame = clientHalf; link[SERVER].halfFrame = serverHalf; finish() }
}

/* Sub-state 0, or the one that the failed send's caller sets. */
inline Reconnect(i, stateAfter) {
  d_step { !closed && reconnects > 0 -> reconnects--; ETH_Riconnetti(i); link[i].stato = stateAfter; finish() }
}

active proctype Network() {
end:
  do
  :: Repeat(CLIENT)
  :: Repeat(SERVER)
  :: Cut(false, false)
  :: Cut(true, false)
  :: Cut(false, true)
  :: Reconnect(CLIENT, RESET)
  :: Reconnect(CLIENT, WAITING)
  :: Reconnect(SERVER, RESET)
  :: Reconnect(SERVER, WAITING)
  :: Reconnect(SERVER, IDLE)
  :: d_step { holes > 0 -> printf("STEP 0 and 1: connection goes bad\n"); holes--; hole = true }
  :: closed -> break
  od
}
