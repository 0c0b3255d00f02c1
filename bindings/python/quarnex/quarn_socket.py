"""The host's interface: adds, opens and closes links, exchanges texts over them, and describes them."""
from __future__ import annotations

from ctypes import POINTER, byref, c_char_p, c_void_p, cast
from types import TracebackType
from typing import Iterable, List, Optional, Tuple, Type

from ._library import C, TYPES, Instance, milliseconds, new, number, settings, string, truth
from .events import Event, event_of
from .text_rules import check_text
from .values import (FileLosses, Outage, PendingTexts, ProcessSnapshot, Refusal, Snapshot, TextCheck, named, value)

_ITEM_NONE, _ITEM_REPORT = 0, 2


class Refused(Exception):
    """A text was not queued. ``refusal`` is the reason; with Refusal.TEXT, ``check`` has the rule that the text breaks."""

    def __init__(self, refusal: Refusal, check: Optional[TextCheck] = None) -> None:
        super().__init__(refusal, check)
        self.refusal = refusal
        self.check = check

    def __str__(self) -> str:
        return f"{self.refusal.value}: {self.check.warning}" if self.check else self.refusal.value


class QuarnSocket:
    """A handle on the links of this process, which all instances share, with the 15 methods under their names and the
    others in English.

    Nothing ever calls the host back: everything happens while it calls :meth:`turn`, or in the asyncio loop of a
    :class:`~quarnex.host.Host`. All calls of a process come from one thread; a second one gets WrongUse.

    Texts are ``bytes``, each byte one character of code 0 to 255; latin-1 converts a ``str``. A link index is valid from
    1 to the number of links added. Every method that takes one does nothing for an invalid index and returns ``b""`` or,
    where stated, another value. A number of more than 16 bits raises Failure 6. Every method may raise Failure 7 if
    memory runs out.

    Closing or dropping the object changes nothing in the links. As a context manager it closes itself::

        with quarnex.QuarnSocket() as quarn:
            quarn.Init(b"/var/log/myhost/")
            link = quarn.Add(b"MIRTAN", 5, True, True)
            quarn.Apri(link)
            while True:
                quarn.turn(0.2)
                while quarn.MessaggioArrivato(link):
                    handle(quarn.GetMessaggioArrivato(link))
    """

    def __init__(self) -> None:
        """Raises Failure 10024 if no descriptors are left for the loop, which the first instance creates."""
        self._instance = Instance()

    def close(self) -> None:
        """Ends the handle; every further call raises WrongUse. A second close does nothing."""
        self._instance.close()

    @property
    def closed(self) -> bool:
        return self._instance.closed

    def __enter__(self) -> QuarnSocket:
        return self

    def __exit__(self, kind: Optional[Type[BaseException]], error: Optional[BaseException],
                 trace: Optional[TracebackType]) -> None:
        self.close()

    # The 15 methods.

    def Add(self, Tipo: bytes, IdQUARN: int, ConnessioneClient: bool, UsaTcp: bool) -> int:
        """Registers a link with the peer of this type and identifier and returns its index, or 0 if 32,767 links exist.

        ``ConnessioneClient``: true = this side calls 127.0.0.1, false = it listens on all local addresses. ``UsaTcp``
        false: texts go to the first other link of the same type and identifier in this process. Over TCP only the
        identifiers 0 to 999 can exchange texts.
        """
        return self._instance.ask(C.Add, self._instance.int32, *string(Tipo, "a type"), number(IdQUARN),
                                  truth(ConnessioneClient), truth(UsaTcp))

    def GetMessaggioArrivato(self, IdxQuarn: int) -> bytes:
        """Takes out the oldest received item, a text of the peer or a report of the library; ``b""`` if there is none."""
        return self._instance.text(C.GetMessaggioArrivato, number(IdxQuarn))

    def ProntoPerUscire(self) -> int:
        """-1 if no link over TCP is in service any more, otherwise 0."""
        return self._instance.ask(C.ProntoPerUscire, self._instance.int32)

    def Invia(self, IdxQuarn: int, s: bytes) -> None:
        """Queues a text without checking it; :meth:`send` checks it and returns its number.

        Ignores ``b""``, and every text after :meth:`Uscita`. ``b"VUOTABUFFER"`` empties the queues of the link. A queue
        that holds 5,000 texts drops its oldest one.
        """
        self._instance.call(C.Invia, number(IdxQuarn), *string(s))

    def Apri(self, IdxQuarn: int) -> None:
        """Opens a link over TCP: empties its queues and listens or calls after 10 seconds, and again after each failure,
        without end."""
        self._instance.call(C.Apri, number(IdxQuarn))

    def Chiudi(self, IdxQuarn: int) -> None:
        """Closes a link: at once if it is not connected, otherwise when the peer has hung up."""
        self._instance.call(C.Chiudi, number(IdxQuarn))

    def Init(self, s: bytes) -> None:
        """Sets the beginning of the log file's name (``os.fsencode`` converts a path), and the number of failures in a
        row that a link tolerates before report 109 to 3."""
        self._instance.call(C.Init, *string(s, "the beginning of a file name", "os.fsencode"))

    def Uscita(self) -> None:
        """Closes all links over TCP like :meth:`Chiudi`, for good."""
        self._instance.call(C.Uscita)

    def MessaggioArrivato(self, IdxQuarn: int) -> bool:
        """True if an item waits in the link's inbound queue."""
        return bool(self._instance.ask(C.MessaggioArrivato, self._instance.int32, number(IdxQuarn)))

    def GetDebug(self, IdxQuarn: int) -> bytes:
        """Takes out the oldest captured trace text; ``b""`` if there is none."""
        return self._instance.text(C.GetDebug, number(IdxQuarn))

    def AttivaDebug(self, IdxQuarn: int) -> None:
        """Starts capturing the link's trace texts, of which 5,000 wait at most."""
        self._instance.call(C.AttivaDebug, number(IdxQuarn))

    def DisattivaDebug(self, IdxQuarn: int) -> None:
        """Stops capturing; captured texts stay until the host takes them."""
        self._instance.call(C.DisattivaDebug, number(IdxQuarn))

    def AttivaLog(self) -> None:
        """Creates and opens the log file. Raises Failure 76 (path not found), 70 (permission denied), 61 (disk full), 52
        (bad file name) or 75 (other)."""
        self._instance.call(C.AttivaLog)

    def DisattivaLog(self, IdxQuarn: int) -> None:
        """Writes the remaining lines, for at most 2 seconds, and closes the log file. The index is not used."""
        self._instance.call(C.DisattivaLog, number(IdxQuarn))

    def Connesso(self, IdxQuarn: int) -> bool:
        """True if the link is connected, or does not use TCP, or the index is invalid."""
        return bool(self._instance.ask(C.Connesso, self._instance.int32, number(IdxQuarn)))

    # The loop.

    def turn(self, seconds: float) -> None:
        """Waits until a tick or a socket event is due, at most ``seconds`` (negative = no limit), and runs everything that
        is due. Raises Failure 10009, at each call, after the program has closed the descriptors of the loop."""
        self._instance.call(C.turn, milliseconds(seconds))

    def next_deadline(self) -> Optional[float]:
        """Seconds that the host may sleep before ``turn(0)`` if the descriptor does not become readable; None = no
        limit."""
        deadline = self._instance.ask(C.next_deadline, self._instance.int64)
        return deadline / 1000 if deadline >= 0 else None

    def fd(self) -> int:
        """A descriptor that becomes readable when a turn has work to do. The library owns it."""
        return self._instance.ask(C.fd, self._instance.int32)

    # Received items.

    def next_item(self, link: int) -> Tuple[Optional[bytes], bool]:
        """Takes out the oldest received item, as :meth:`GetMessaggioArrivato` does. Returns it, or None if there is none,
        and true if it is a report of the library."""
        kind = self._instance.int32
        item = self._instance.text(C.next_item, number(link), byref(kind))
        return (item if kind.value != _ITEM_NONE else None), kind.value == _ITEM_REPORT

    def receive(self, link: int) -> Optional[bytes]:
        """Takes out the oldest received text and discards the reports before it; None if no text waits."""
        is_report = True
        while is_report:
            item, is_report = self.next_item(link)
        return item

    def report_waits(self, link: int) -> bool:
        """True if the oldest received item is a report of the library, and not a text of the peer in that form."""
        return bool(self._instance.ask(C.report_waits, self._instance.int32, number(link)))

    def links_with_news(self) -> List[int]:
        """The indexes of the links in which received items wait, those that have waited longest first."""
        indexes = POINTER(TYPES["int16"])()
        size = self._instance.ask(C.links_with_news, self._instance.size, byref(indexes))
        return indexes[:size]

    # Texts and their outcomes.

    def send(self, link: int, text: bytes) -> int:
        """Queues a text and returns its number on this link, from 1; raises Refused if it is not queued. Each number gets
        one outcome, which an event :class:`~quarnex.events.Receipts` reports. Send while the link is connected: each
        attempt to connect empties the queue."""
        sent = self._instance.uint64
        reason = self._instance.ask(C.send, self._instance.int32, number(link), *string(text), byref(sent))
        if reason:
            refusal = named(Refusal, reason)
            raise Refused(refusal, check_text(text) if refusal is Refusal.TEXT else None)
        return int(sent.value)

    def accepted(self, link: int) -> int:
        """The number of the last text that the link accepted; 0 before the first one."""
        return self._instance.ask(C.accepted, self._instance.uint64, number(link))

    def decided_up_to(self, link: int) -> int:
        """All texts up to this number have their outcome."""
        return self._instance.ask(C.decided_up_to, self._instance.uint64, number(link))

    def pending(self, link: int) -> List[PendingTexts]:
        """The texts without an outcome, in order: at most three ranges."""
        ranges = POINTER(TYPES["pending_texts"])()
        size = self._instance.ask(C.pending, self._instance.size, number(link), byref(ranges))
        return [value(PendingTexts, each) for each in ranges[:size]]

    def drain_and_close(self, link: int, within: float) -> None:
        """Closes a link without loss: waits until every text has its outcome, at most ``within`` seconds, then closes it.
        The event Drained reports the outcome, then Closed follows. Raises Failure 5 for an invalid index and a link
        without TCP."""
        self._instance.call(C.drain_and_close, number(link), milliseconds(within))

    def drain_and_leave(self, within: float) -> None:
        """Does the same for all links, then calls :meth:`Uscita`."""
        self._instance.call(C.drain_and_leave, milliseconds(within))

    # State and events.

    def snapshot(self, link: int) -> Optional[Snapshot]:
        """Describes the state of the link and the reason why it is down; None for an invalid index."""
        struct = new("link_snapshot")
        self._instance.call(C.snapshot, number(link), byref(struct))
        return value(Snapshot, struct) if struct.index else None

    def outages(self, link: int) -> List[Outage]:
        """The latest times without connection, at most 32, oldest first; the last one may be under way."""
        found: List[Outage] = []
        for position in range(self._instance.ask(C.outages, self._instance.size, number(link))):
            struct = new("link_outage")
            self._instance.call(C.outage, number(link), position, byref(struct))
            found.append(value(Outage, struct))
        return found

    def enable_events(self, link: int, on: bool = True) -> None:
        """Starts or stops queueing the events of a link. Raises Failure 5 for an invalid index."""
        self._instance.call(C.enable_events, number(link), truth(on))

    def next_event(self) -> Optional[Event]:
        """Takes the oldest event of all links; None if there is none. Take all events after each turn: at most 10,000
        wait."""
        struct = new("event")
        taken = self._instance.ask(C.next_event, self._instance.int32, byref(struct))
        return event_of(struct) if taken else None

    def events_waiting(self) -> int:
        """The number of events in the queue."""
        return self._instance.ask(C.events_waiting, self._instance.size)

    # Settings, log and process. Sizes are bytes, and 0 means the default.

    def set_memory_limits(self, *, unhandled: int = 0, frame: int = 0, unsent: int = 0, process: int = 0) -> None:
        """Sets the memory that peers can make the links hold: received and not handled, of one frame, sent and not
        accepted by the system (each for one link), and of all links. Raises Failure 5 after the first :meth:`Add`."""
        limits = settings("memory_limits", unhandled=unhandled, frame=frame, unsent=unsent, process=process)
        self._instance.call(C.set_memory_limits, byref(limits))

    def set_log_settings(self, *, bytes_max: int = 0, files_max: int = 0, group_may_read: bool = False) -> None:
        """Sets how the log files are kept that :meth:`AttivaLog` creates from now on: the size at which the next file
        begins, the number of files kept, and who may read them. 0 = no limit."""
        kept = settings("log_settings", bytes_max=bytes_max, files_max=files_max, group_may_read=group_may_read)
        self._instance.call(C.set_log_settings, byref(kept))

    def flush_log(self, seconds: float) -> FileLosses:
        """Waits until all log lines are in the file or dropped, at most ``seconds``, and returns what is missing."""
        struct = new("file_losses")
        self._instance.call(C.flush_log, milliseconds(seconds), byref(struct))
        return value(FileLosses, struct)

    def process_snapshot(self) -> ProcessSnapshot:
        """What the library holds and has lost in the whole process."""
        struct = new("process_state")
        self._instance.call(C.process_snapshot, byref(struct))
        return value(ProcessSnapshot, struct)

    def listen_on(self, link: int, dotted: str) -> None:
        """Lets a server link listen on one address of this machine, such as "127.0.0.1"; call it before :meth:`Apri`.
        Raises Failure 5 for any other address and any other link."""
        self._instance.call(C.listen_on, number(link), *string(dotted.encode("latin-1")))

    def allow_callers(self, link: int, dotted: Iterable[str]) -> None:
        """Lets only these addresses call a server link; everybody if there are none. Raises Failure 5 like
        :meth:`listen_on`."""
        texts = [each.encode("latin-1") for each in dotted]
        array = (TYPES["text"] * len(texts))()
        for struct, text in zip(array, texts):
            struct.bytes, struct.length = cast(c_char_p(text), c_void_p), len(text)
        self._instance.call(C.allow_callers, number(link), array, len(texts))
