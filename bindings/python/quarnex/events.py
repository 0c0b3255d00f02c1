"""The events of links, a dataclass for each type. ``isinstance`` and ``match`` tell them apart; ``type`` has the name.

A link has events once they are enabled. ``link`` is the index of the link, 0 for an event of the whole process.
"""
from __future__ import annotations

from dataclasses import dataclass
from typing import Any, ClassVar, Dict, List, Optional, Type

from .values import EventType, LinkFailure, Outcome, Receipt, named, value


@dataclass(frozen=True)
class Counts:
    """Counters of a link at the moment of an event."""

    accepted: int  #: texts that have a number
    acknowledged: int
    dropped: int
    unknown: int
    texts_received: int
    received_dropped: int
    reconnections: int


@dataclass(frozen=True)
class Event:
    """Common to all events."""

    type: ClassVar[EventType]
    link: int
    at: int  #: second since 1970-01-01 UTC of the system's clock, which may go back
    milliseconds: int  #: since an arbitrary moment, of a clock that never goes back
    counts: Counts


@dataclass(frozen=True)
class Connected(Event):
    """The link is connected; on a server link ``endpoint`` is the caller's address and port."""

    type = EventType.CONNECTED
    endpoint: str


@dataclass(frozen=True)
class Heard(Event):
    """The peer's first message on this connection."""

    type = EventType.HEARD


@dataclass(frozen=True)
class Disconnected(Event):
    """The connection has ended; ``count`` texts have no outcome yet, and ``stays_queued`` tells if they are kept."""

    type = EventType.DISCONNECTED
    reason: Optional[LinkFailure]
    count: int
    stays_queued: bool


@dataclass(frozen=True)
class AttemptFailed(Event):
    """``count`` attempts to connect have failed; ``reason`` of the last one."""

    type = EventType.ATTEMPT_FAILED
    reason: Optional[LinkFailure]
    count: int


@dataclass(frozen=True)
class NotAnswering(Event):
    """The peer does not answer: more failures in a row than tolerated (report 109)."""

    type = EventType.NOT_ANSWERING
    reason: Optional[LinkFailure]


@dataclass(frozen=True)
class AnsweringAgain(Event):
    """The peer answers again (report 112)."""

    type = EventType.ANSWERING_AGAIN


@dataclass(frozen=True)
class FailureBegun(Event):
    """The first failure of a period (report 991)."""

    type = EventType.FAILURE
    reason: Optional[LinkFailure]


@dataclass(frozen=True)
class FailureOver(Event):
    """The first message after a failure (report 992)."""

    type = EventType.FAILURE_OVER


@dataclass(frozen=True)
class Closing(Event):
    """The host closes the connected link, and the peer has been asked to hang up."""

    type = EventType.CLOSING


@dataclass(frozen=True)
class Closed(Event):
    """The link is out of service: always its last event. ``reason``, unless the host closed it."""

    type = EventType.CLOSED
    reason: Optional[LinkFailure]


@dataclass(frozen=True)
class TextsReceived(Event):
    """``count`` texts of the peer have arrived since the last such event was taken."""

    type = EventType.TEXTS_RECEIVED
    count: int


@dataclass(frozen=True)
class ReceivedDropped(Event):
    """``count`` received texts were dropped before the host took them; ``receipt.cause`` has the reason."""

    type = EventType.RECEIVED_DROPPED
    count: int
    receipt: Receipt


@dataclass(frozen=True)
class Receipts(Event):
    """The fate of the texts in ``receipt``."""

    type = EventType.RECEIPTS
    receipt: Receipt


@dataclass(frozen=True)
class Drained(Event):
    """``drain_and_close`` is over; ``receipts``: the fates since it was called. Of the whole process:
    ``drain_and_leave`` is over."""

    type = EventType.DRAINED
    timed_out: bool
    receipts: List[Receipt]


@dataclass(frozen=True)
class ClockStepped(Event):
    """The system's clock was set forward (or back, if negative) by ``count`` seconds."""

    type = EventType.CLOCK_STEPPED
    count: int


@dataclass(frozen=True)
class HostStoodStill(Event):
    """The loop was not turned for ``count`` seconds."""

    type = EventType.HOST_STOOD_STILL
    count: int


@dataclass(frozen=True)
class Lost(Event):
    """The queue held 10,000 events, so these are missing: their numbers by type, the times of the first and the last,
    and the numbers of texts in their receipts by outcome."""

    type = EventType.LOST
    lost_from: int
    lost_to: int
    lost_events: Dict[EventType, int]
    lost_texts: Dict[Outcome, int]


_CLASSES: Dict[EventType, Type[Event]] = {each.type: each for each in Event.__subclasses__()}


def event_of(struct: Any) -> Event:
    """Converts an event of the C interface. A type that only a newer library knows gets a class without details."""
    kind = named(EventType, struct.type)
    if kind not in _CLASSES:
        _CLASSES[kind] = type("Event", (Event,), {"type": kind})
    return value(_CLASSES[kind], struct)
