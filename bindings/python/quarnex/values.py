"""The values that the library returns: enumerations with the stable names of the library, and dataclasses.

Points of time are seconds since 1970-01-01 UTC. Texts of the hosts and their parts are ``bytes``; sentences for people are
``str``.
"""
from __future__ import annotations

import ctypes
import dataclasses
import enum
import functools
import typing
from dataclasses import dataclass
from typing import Any, Callable, Dict, List, Optional, Tuple, Type, TypeVar

from ._library import INT16_MAX, C


class Named(str, enum.Enum):
    """An enumeration whose values are names that no later version changes. A value that only a newer library knows becomes
    a further member."""

    def __str__(self) -> str:
        return str(self.value)


class Outcome(Named):
    """The fate of a text. Each text gets exactly one."""

    ACKNOWLEDGED = "acknowledged"  #: the peer's library has put it into its queue
    DROPPED = "dropped"  #: it was never in a frame, so sending it again cannot duplicate it
    UNKNOWN = "unknown"  #: it was in a frame, so the peer may have it


class Cause(Named):
    """The reason of an outcome other than acknowledged."""

    NONE = ""
    RECONNECTION = "reconnection"  #: the link reconnected after a failure, which empties its queue
    REOPENED = "reopened"  #: the link was opened anew, which empties its queue
    CLOSED = "closed"
    QUEUES_EMPTIED = "queues-emptied"  #: the text VUOTABUFFER
    QUEUE_FULL = "queue-full"  #: later texts pushed it out of a queue that held 5,000
    STRAY_ACKNOWLEDGEMENT = "stray-acknowledgement"  #: an acknowledgement that may belong to earlier texts
    CONTENT = "content"  #: it cannot arrive intact, or shared a message with a text that cannot
    TIMEOUT = "timeout"  #: drain_and_close or drain_and_leave ran out of time
    NO_PEER = "no-peer"  #: without TCP: the process has no other link of this type and identifier


class Refusal(Named):
    """The reason why a text was not queued."""

    NONE = ""
    UNKNOWN_LINK = "unknown-link"
    NOT_OPEN = "not-open"  #: the link is closed: opening it would drop the text
    DRAINING = "draining"
    LEAVING = "leaving"
    TEXT = "text"  #: the text breaks a rule


class Phase(Named):
    """Where a link is in its life."""

    LOCAL = "local"  #: without TCP: always usable
    CLOSED = "closed"
    WAITING = "waiting"  #: the next attempt comes when the deadline has passed
    LISTENING = "listening"
    CALLING = "calling"
    CONNECTED = "connected"


class FailureKind(Named):
    """The reason why a link went down."""

    LISTEN_FAILED = "listen-failed"
    CALL_NOT_STARTED = "call-not-started"
    SEND_FAILED = "send-failed"
    CALL_FAILED = "call-failed"
    ACCEPT_FAILED = "accept-failed"
    LISTEN_TIMEOUT = "listen-timeout"
    CONNECT_TIMEOUT = "connect-timeout"
    KEEP_ALIVE_TIMEOUT = "keep-alive-timeout"
    REPLY_TIMEOUT = "reply-timeout"
    CLOSED_BY_PEER = "closed-by-peer"
    CONNECTION_BROKEN = "connection-broken"
    PEER_ASKED_TO_CLOSE = "peer-asked-to-close"
    FRAME_TOO_LONG = "frame-too-long"


class EventType(Named):
    """The types of events; ``quarnex.events`` has a class for each."""

    CONNECTED = "connected"
    HEARD = "heard"
    DISCONNECTED = "disconnected"
    ATTEMPT_FAILED = "attempt-failed"
    NOT_ANSWERING = "not-answering"
    ANSWERING_AGAIN = "answering-again"
    FAILURE = "failure"
    FAILURE_OVER = "failure-over"
    CLOSING = "closing"
    CLOSED = "closed"
    TEXTS_RECEIVED = "texts-received"
    RECEIVED_DROPPED = "received-dropped"
    RECEIPTS = "receipts"
    DRAINED = "drained"
    CLOCK_STEPPED = "clock-stepped"
    HOST_STOOD_STILL = "host-stood-still"
    LOST = "lost"


class Rule(Named):
    """The rules of texts, in the order in which they are checked."""

    NONE = ""  #: the text arrives unchanged
    EMPTY = "empty"
    EMPTIES_QUEUES = "empties-queues"
    TOO_LONG = "too-long"
    END_CHARACTER = "end-character"
    SEPARATOR = "separator"
    TOO_SHORT = "too-short"
    PROTOCOL_WORD = "protocol-word"
    START_CHARACTER = "start-character"
    LEADING_NINE = "leading-nine"
    LOOKS_LIKE_REPORT = "looks-like-report"


_NAME_OF: Dict[Any, Callable[[int], bytes]] = {
    Outcome: C.outcome_name, Cause: C.cause_name, Refusal: C.refusal_name, Phase: C.phase_name,
    FailureKind: C.failure_kind_name, EventType: C.event_name, Rule: C.rule_name,
}
_Enumeration = TypeVar("_Enumeration", bound=Named)


@functools.lru_cache(maxsize=None)
def _member(enumeration: Any, number: int) -> Any:
    name = _NAME_OF[enumeration](number).decode("ascii")
    try:
        return enumeration(name)
    except ValueError:  # of a newer library
        member = str.__new__(enumeration, name)
        member._name_ = member._value_ = name
        return member


def named(enumeration: Type[_Enumeration], number: int) -> _Enumeration:
    """The member for a number of the C interface."""
    member: _Enumeration = _member(enumeration, number)
    return member


def number_of(member: Named) -> int:
    """The number of a member in the C interface."""
    return next(number for number in range(INT16_MAX) if named(type(member), number) is member)


@dataclass(frozen=True)
class Receipt:
    """The common fate of the texts with the numbers ``from_`` to ``to`` of a link."""

    from_: int
    to: int
    outcome: Outcome
    cause: Cause
    frames: int  #: the highest number of frames that one of the texts was in
    connection: int  #: the link's connections so far, the present one included


@dataclass(frozen=True)
class PendingTexts:
    """Texts without an outcome: those with the numbers ``from_`` to ``to``."""

    from_: int
    to: int
    in_frame: bool  #: they were in a frame, so the peer may have them


@dataclass(frozen=True)
class LinkFailure:
    """One failure of a link."""

    kind: FailureKind
    number: int  #: mostly a Windows Sockets number, 10000 and up; 0 if the kind has none
    text: str  #: description of the failed operation, "" if the kind has none
    phase: Phase  #: in which it happened
    at: int


@dataclass(frozen=True)
class OutcomeCounts:
    """Numbers of texts, by outcome and cause; only causes that occurred."""

    acknowledged: int
    dropped: Dict[Cause, int]
    unknown: Dict[Cause, int]


@dataclass(frozen=True)
class Snapshot:
    """The state of a link. Times follow a clock that never goes back; counts start when the link is added."""

    index: int
    type: bytes
    identifier: int
    client: bool  #: this side calls
    tcp: bool
    phase: Phase
    sub_state: int  #: of the exchange: 0 reset, 1 ready, 2 waiting for an answer, 3 idle
    closing: bool  #: the host has closed the link, but the peer has not hung up yet
    endpoint: str  #: "127.0.0.1:20308": the peer's address and the port of the server side
    port: int
    since: int  #: time of the last change between connected, disconnected and closed
    message_received: bool
    overdue: bool
    deadline: Optional[int]
    keep_alive_deadline: Optional[int]
    reply_deadline: Optional[int]
    outbound: int  #: texts queued for the peer
    inbound: int  #: items that the host has not taken
    captured: int  #: trace texts that the host has not taken
    batch_in_flight: bool
    reported_down: bool
    failures: int  #: counted towards the next report 109
    last_failure: Optional[LinkFailure]
    last_error: str
    texts_sent: int
    texts_received: int
    outcomes: OutcomeCounts
    undecided: int
    received_dropped: int
    frames_sent: int
    frames_received: int
    last_heard: Optional[int]
    last_sent: Optional[int]
    last_acknowledged: Optional[int]
    repetitions: int
    bad_checksums: int
    reconnections: int
    bytes_held: int
    bytes_unsent: int
    limit_since: Optional[int]
    callers_refused: int
    why: str  #: one sentence for people; times of day are local time


@dataclass(frozen=True)
class Outage:
    """A time without connection of a link that the host wants open."""

    number: int  #: from 1, in the order of the link's outages
    start: int
    end: Optional[int]  #: None while it lasts
    reason: LinkFailure
    attempts: int  #: to connect that failed
    dropped: Dict[Cause, int]
    why: str  #: one sentence for people


@dataclass(frozen=True)
class TextCheck:
    """The first rule that a text breaks, and its effect."""

    rule: Rule  #: Rule.NONE: the text arrives unchanged
    position: int  #: of the first byte that breaks the rule, from 0
    warning: str  #: the reason in words
    alone: bool  #: it would damage other texts of its batch
    never: bool  #: the peer would never accept its batch


@dataclass(frozen=True)
class Report:
    """A report of the library, taken apart. The time is local."""

    code: int  #: 109, 112, 701, 702, 991, 992 or 993, see docs/reports.md
    identifier: int
    type: bytes
    detail: bytes
    hour: int
    minute: int
    second: int
    day: int
    month: int
    year: int


@dataclass(frozen=True)
class FileLosses:
    """Lines that are missing in a file although they were given to the library."""

    bytes: int  #: 0: nothing is missing
    lines: int
    last_error: int  #: 61 disk full, 70 permission denied, 75 other, 0 the disk was too slow


@dataclass(frozen=True)
class ProcessSnapshot:
    """Figures of the whole process: what is missing in its log files, and the bytes that its links hold."""

    log_bytes: int
    log_lines: int
    log_last_error: int
    bytes_held: int


def _counts(enumeration: Type[Named], numbers: Any, length: int) -> Dict[Named, int]:
    return {named(enumeration, i): numbers[i] for i in range(length) if numbers[i]}


def _text(text: Any) -> bytes:
    return ctypes.string_at(text.bytes or 0, text.length)


def _reader(name: str, hint: Any) -> Callable[[Any], Any]:
    """Returns a function that reads a member of a struct as a value with this type hint."""
    member = name.rstrip("_")
    origin, arguments = typing.get_origin(hint), typing.get_args(hint)
    if hint is int:
        return lambda struct: getattr(struct, member)
    if hint is bool:
        return lambda struct: bool(getattr(struct, member))
    if hint is bytes:
        return lambda struct: _text(getattr(struct, member))
    if hint is str:
        return lambda struct: _text(getattr(struct, member)).decode("latin-1")
    if origin is dict:
        return _counts_reader(member, arguments[0])
    if origin is list:
        return lambda struct: [value(arguments[0], getattr(struct, member)[i])
                               for i in range(getattr(struct, member + "_count"))]
    if origin is typing.Union and arguments[0] is int:
        return lambda struct: getattr(struct, member) or None
    if origin is typing.Union:
        return lambda struct: value(arguments[0], getattr(struct, member)) if getattr(struct, "has_" + member) else None
    if issubclass(hint, Named):
        return lambda struct: named(hint, getattr(struct, member))
    return lambda struct: value(hint, getattr(struct, member, struct))


def _counts_reader(member: str, enumeration: Type[Named]) -> Callable[[Any], Any]:
    def read(struct: Any) -> Dict[Named, int]:
        numbers = getattr(struct, member)
        return _counts(enumeration, numbers, getattr(struct, member + "_count", None) or len(numbers))
    return read


@functools.lru_cache(maxsize=None)
def _readers(kind: Any) -> List[Tuple[str, Callable[[Any], Any]]]:
    hints = typing.get_type_hints(kind)
    return [(field.name, _reader(field.name, hints[field.name])) for field in dataclasses.fields(kind)]


_Value = TypeVar("_Value")


def value(kind: Type[_Value], struct: Any) -> _Value:
    """Converts a struct of the C interface to a dataclass, whose fields have the names of the members and state their
    types. A dataclass without a member of its own takes its fields from the whole struct."""
    made = object.__new__(kind)
    made.__dict__.update({name: read(struct) for name, read in _readers(typing.cast(Any, kind))})
    return made
