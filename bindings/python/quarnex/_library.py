"""Loads the shared library and calls its C interface, whose structs and functions the tables below declare."""
from __future__ import annotations

import ctypes
import math
import os
import re
import weakref
from threading import get_ident
from types import SimpleNamespace
from typing import Any, Callable, Dict, List, Optional, Tuple

#: The library that is loaded unless the environment variable QUARNEX_LIBRARY names another one.
LIBRARY = "libquarnex.so.1"

INT16_MIN, INT16_MAX = -0x8000, 0x7FFF
INT32_MIN, INT32_MAX = -0x8000_0000, 0x7FFF_FFFF
LONGEST_SECONDS = 2.0**40
CAUSES = 16

#: The structs, each in the words of quarnex.h, in an order in which each one comes after its parts.
STRUCTS = {
    "text": "const char* bytes; size_t length;",
    "error": "uint32_t size; int32_t number; char description[248];",
    "report": "uint32_t size; int32_t code; int32_t identifier; int32_t hour, minute, second, day, month, year; "
              "int32_t reserved; quarnex_text type, detail;",
    "receipt": "uint64_t from, to; int32_t outcome, cause; uint32_t frames, connection;",
    "pending_texts": "uint64_t from, to; int32_t in_frame; int32_t reserved;",
    "link_failure": "int32_t kind; int32_t number; int32_t phase; int32_t reserved; int64_t at; quarnex_text text;",
    "link_snapshot": "uint32_t size; int32_t index; int32_t identifier; int32_t client, tcp; "
                     "int32_t phase, sub_state, closing; int32_t port; int32_t message_received, overdue; "
                     "int32_t outbound, inbound, captured; int32_t batch_in_flight, reported_down; int32_t failures; "
                     "int32_t has_last_failure; quarnex_text type, endpoint, last_error, why; "
                     "int64_t since, deadline, keep_alive_deadline, reply_deadline; "
                     "int64_t last_heard, last_sent, last_acknowledged, limit_since; "
                     "quarnex_link_failure last_failure; uint64_t texts_sent, texts_received; "
                     "uint64_t acknowledged, dropped[QUARNEX_CAUSES], unknown[QUARNEX_CAUSES]; "
                     "uint64_t undecided, received_dropped; uint64_t frames_sent, frames_received; "
                     "uint64_t repetitions, bad_checksums, reconnections; "
                     "uint64_t bytes_held, bytes_unsent, callers_refused;",
    "link_outage": "uint32_t size; uint32_t number, attempts; int32_t reserved; int64_t start, end; "
                   "quarnex_link_failure reason; uint64_t dropped[QUARNEX_CAUSES]; quarnex_text why;",
    "event": "uint32_t size; int32_t type; int32_t link; int32_t has_reason; int64_t at, milliseconds; int64_t count; "
             "quarnex_link_failure reason; quarnex_text endpoint; int32_t stays_queued, timed_out; "
             "quarnex_receipt receipt; const quarnex_receipt* receipts; size_t receipts_count; "
             "int64_t lost_from, lost_to; const uint64_t* lost_events; size_t lost_events_count; "
             "uint64_t lost_texts[4]; uint64_t accepted, acknowledged, dropped, unknown; "
             "uint64_t texts_received, received_dropped, reconnections;",
    "text_check": "uint32_t size; int32_t rule; int32_t alone, never; uint64_t position; quarnex_text warning;",
    "memory_limits": "uint32_t size; int32_t reserved; uint64_t unhandled, frame, unsent, process;",
    "log_settings": "uint32_t size; int32_t files_max; uint64_t bytes_max; int32_t group_may_read; int32_t reserved;",
    "file_losses": "uint32_t size; int32_t last_error; uint64_t bytes, lines;",
    "process_state": "uint32_t size; int32_t log_last_error; uint64_t log_bytes, log_lines; uint64_t bytes_held;",
    "recording_settings": "uint32_t size; int32_t group_may_read; uint64_t bytes_max; int32_t must_be_new; "
                          "int32_t reserved;",
}

#: The functions with their parameters: "instance", "string" (pointer and length), a type of C, or * and a type for a
#: result. The last parameter, the error, is left out.
FUNCTIONS = {
    "create": "*instance",
    "Add": "instance string int32 int32 int32 *int32",
    "GetMessaggioArrivato": "instance int32 *text",
    "ProntoPerUscire": "instance *int32",
    "Invia": "instance int32 string",
    "Apri": "instance int32",
    "Chiudi": "instance int32",
    "Init": "instance string",
    "Uscita": "instance",
    "MessaggioArrivato": "instance int32 *int32",
    "GetDebug": "instance int32 *text",
    "AttivaDebug": "instance int32",
    "DisattivaDebug": "instance int32",
    "AttivaLog": "instance",
    "DisattivaLog": "instance int32",
    "Connesso": "instance int32 *int32",
    "turn": "instance int64",
    "next_deadline": "instance *int64",
    "fd": "instance *int32",
    "next_item": "instance int32 *int32 *text",
    "report_waits": "instance int32 *int32",
    "links_with_news": "instance **int16 *size",
    "parse_report": "instance string *report",
    "send": "instance int32 string *uint64 *int32",
    "accepted": "instance int32 *uint64",
    "decided_up_to": "instance int32 *uint64",
    "pending": "instance int32 **pending_texts *size",
    "drain_and_close": "instance int32 int64",
    "drain_and_leave": "instance int64",
    "snapshot": "instance int32 *link_snapshot",
    "outages": "instance int32 *size",
    "outage": "instance int32 size *link_outage",
    "in_words": "instance *link_failure *text",
    "enable_events": "instance int32 int32",
    "next_event": "instance *event *int32",
    "events_waiting": "instance *size",
    "check_text": "instance string *text_check",
    "encode_text": "instance string *text",
    "decode_text": "instance string *text",
    "port_for_type": "string int32 *int32",
    "set_memory_limits": "instance *memory_limits",
    "set_log_settings": "instance *log_settings",
    "flush_log": "instance int64 *file_losses",
    "process_snapshot": "instance *process_state",
    "listen_on": "instance int32 string",
    "allow_callers": "instance int32 *text size",
    "record_flight": "string *recording_settings",
    "flight_losses": "*file_losses",
    "flush_flight": "int64 *file_losses",
}

#: Functions that return the name of a number.
NAMES = ("outcome", "cause", "refusal", "phase", "failure_kind", "event", "rule")

#: Functions that can wait for the system. Other threads of Python run meanwhile; during all others they do not, because
#: handing over to them takes longer than the call.
WAITING = ("turn", "AttivaLog", "DisattivaLog", "flush_log", "record_flight", "flush_flight")


class Failure(Exception):
    """A call failed: ``number`` as docs/reports.md lists it (5 invalid call, 6 overflow, 76 path not found, 10000 and
    up for sockets), and ``description``, one line."""

    def __init__(self, number: int, description: str) -> None:
        super().__init__(number, description)
        self.number = number
        self.description = description

    def __str__(self) -> str:
        return f"{self.description} ({self.number})"


class WrongUse(RuntimeError):
    """A call that cannot work, such as one on a closed object, from a second thread, or with a closed event loop. It
    has changed nothing; the text states the reason."""


#: The types of C by their names in the tables.
TYPES: Dict[str, Any] = {
    "int16": ctypes.c_int16, "int32": ctypes.c_int32, "uint32": ctypes.c_uint32, "int64": ctypes.c_int64,
    "uint64": ctypes.c_uint64, "size": ctypes.c_size_t, "instance": ctypes.c_void_p, "char": ctypes.c_char,
}


def _members(declaration: str) -> List[Tuple[str, Any]]:
    members: List[Tuple[str, Any]] = []
    for base, star, names in re.findall(r"(?:const )?(?:quarnex_)?(\w+?)(?:_t)?(\*?) ([^;]+);", declaration):
        for name, length in re.findall(r"(\w+)(?:\[(\w+)\])?", names):
            member = TYPES[base]
            if length:
                member = member * (CAUSES if length == "QUARNEX_CAUSES" else int(length))
            if star:
                member = ctypes.c_void_p if base == "char" else ctypes.POINTER(member)
            members.append((name, member))
    return members


def declare(structs: Dict[str, str]) -> None:
    """Adds structs to TYPES."""
    for name, declaration in structs.items():
        TYPES[name] = type(name, (ctypes.Structure,), {"_fields_": _members(declaration)})


declare(STRUCTS)


def new(name: str) -> Any:
    """A struct of this name with its size, which is what the library may fill."""
    struct = TYPES[name]()
    struct.size = ctypes.sizeof(struct)
    return struct


def _argument_types(parameters: str) -> List[Any]:
    found: List[Any] = []
    for parameter in parameters.split():
        if parameter == "string":
            found += [ctypes.c_char_p, ctypes.c_size_t]
        elif parameter.startswith("*"):  # without its type, because checking that takes half of the time of a call
            found.append(ctypes.c_void_p)
        else:
            found.append(TYPES[parameter])
    return [*found, ctypes.c_void_p]


def load(functions: Dict[str, str]) -> SimpleNamespace:
    """Loads functions of the library."""
    path = os.environ.get("QUARNEX_LIBRARY") or LIBRARY
    loaded = SimpleNamespace()
    try:
        quick, waiting = ctypes.PyDLL(path), ctypes.CDLL(path)
        for name, parameters in functions.items():
            function = getattr(waiting if name in WAITING else quick, "quarnex_" + name)
            function.argtypes, function.restype = _argument_types(parameters), ctypes.c_int32
            setattr(loaded, name, function)
        for name in NAMES:
            function = getattr(quick, f"quarnex_{name}_name")
            function.argtypes, function.restype = [ctypes.c_int32], ctypes.c_char_p
            setattr(loaded, name + "_name", function)
        loaded.version, loaded.destroy = quick.quarnex_version, quick.quarnex_destroy
        loaded.version.restype = ctypes.c_char_p
        loaded.destroy.argtypes, loaded.destroy.restype = [ctypes.c_void_p], None
    except OSError as problem:
        raise ImportError(f"the Quarnex library cannot be loaded: {problem}. Install it, or set QUARNEX_LIBRARY to its "
                          "path.") from problem
    except AttributeError as problem:
        raise ImportError(f"the Quarnex library {path} is older than this package: {problem}") from problem
    return loaded


C = load(FUNCTIONS)


class _Owner:
    """The thread of the first call, from which all later calls have to come. A forked child can make no calls, because it
    shares descriptors with its parent."""

    thread: Optional[int] = None
    reason = "all calls of Quarnex come from one thread, the one that made the first call"


def _forked() -> None:
    if _Owner.thread is not None:
        _Owner.thread = -1
        _Owner.reason = "a forked process cannot use the links of its parent: start it with spawn or forkserver"


os.register_at_fork(after_in_child=_forked)


def require_owner() -> None:
    """Raises WrongUse except on the thread that made the first call."""
    if _Owner.thread is None:
        _Owner.thread = get_ident()
    if _Owner.thread != get_ident():
        raise WrongUse(_Owner.reason)


def failure_of(error: Any) -> Failure:
    return Failure(error.number, error.description.decode("latin-1"))


def call_process(function: Callable[..., int], *arguments: Any) -> None:
    """Calls a function that needs no instance."""
    require_owner()
    error = new("error")
    if function(*arguments, ctypes.byref(error)):
        raise failure_of(error)


class Instance:
    """A handle of the C interface with room for the results of its calls. The library copies texts that it keeps."""

    def __init__(self) -> None:
        handle = ctypes.c_void_p()
        call_process(C.create, ctypes.byref(handle))
        self._handle = handle.value
        self._error = new("error")
        self._error_at = ctypes.byref(self._error)
        self.int32, self.int64, self.uint64, self.size = (TYPES[each]() for each in ("int32", "int64", "uint64", "size"))
        self._text = TYPES["text"]()
        self._text_at = ctypes.byref(self._text)
        self._finalizer = weakref.finalize(self, C.destroy, handle)
        Process.current.instances.add(self)

    def close(self) -> None:
        require_owner()  # whose call may be under way
        self._finalizer()
        self._handle = None

    @property
    def closed(self) -> bool:
        return self._handle is None

    def call(self, function: Callable[..., int], *arguments: Any) -> None:
        if _Owner.thread != get_ident():
            raise WrongUse(_Owner.reason)
        if self._handle is None:
            raise WrongUse("it has been closed")
        if function(self._handle, *arguments, self._error_at):
            raise failure_of(self._error)

    def ask(self, function: Callable[..., int], result: Any, *arguments: Any) -> int:
        """Calls a function whose last parameter is a number that it sets."""
        self.call(function, *arguments, ctypes.byref(result))
        value: int = result.value
        return value

    def text(self, function: Callable[..., int], *arguments: Any) -> bytes:
        self.call(function, *arguments, self._text_at)
        return ctypes.string_at(self._text.bytes or 0, self._text.length)

    def optional_text(self, function: Callable[..., int], *arguments: Any) -> Optional[bytes]:
        text = self.text(function, *arguments)
        return text if self._text.bytes is not None else None


class Process:
    """What belongs to this process, or in a test to a simulated one."""

    current: Process

    def __init__(self) -> None:
        self.instances: weakref.WeakSet[Instance] = weakref.WeakSet()
        self.texts: Optional[Instance] = None  #: for functions that need no link
        self.host: Optional[weakref.ref[Any]] = None  #: the Host that works


Process.current = Process()


def string(text: bytes, what: str = "a text", conversion: str = 'text.encode("latin-1")') -> Tuple[bytes, int]:
    """The two parameters of a text."""
    if not isinstance(text, bytes):
        advice = f"; convert a str with {conversion}" if isinstance(text, str) else ""
        raise TypeError(f"{what} is bytes, not {type(text).__name__}{advice}")
    return text, len(text)


def number(value: int) -> int:
    """An index or identifier as the library takes it, which refuses more than 16 bits with failure 6."""
    if type(value) is int and INT16_MIN <= value <= INT16_MAX:
        return value
    if not hasattr(value, "__index__"):
        raise TypeError(f"an index or identifier is an int, not {type(value).__name__}")
    return min(max(value.__index__(), INT32_MIN), INT32_MAX)


def truth(value: bool) -> int:
    """A truth value as the library takes it."""
    if not isinstance(value, int):
        raise TypeError(f"a truth value is a bool, not {type(value).__name__}")
    return 1 if value else 0


def milliseconds(seconds: float) -> int:
    """A duration as the library takes it; a fraction of a millisecond counts as one."""
    return math.ceil(min(max(seconds, -1.0), LONGEST_SECONDS) * 1000)


def settings(name: str, **members: int) -> Any:
    """A struct of the C interface with these sizes and numbers, of which 0 means the default."""
    struct = new(name)
    for member, value in members.items():
        if not 0 <= value < 2**63:
            raise Failure(5, f"Invalid procedure call or argument: {member} is {value}")
        setattr(struct, member, value)
    return struct
