"""Rules and codes for texts, reports and ports, which need no link. The first use counts as a call of the library."""
from __future__ import annotations

from ctypes import byref, c_char_p, c_void_p, cast
from typing import Optional

from ._library import C, TYPES, Instance, Process, call_process, new, number, string
from .values import LinkFailure, Report, TextCheck, number_of, value


def _instance() -> Instance:
    process = Process.current
    process.texts = process.texts or Instance()
    return process.texts


def check_text(text: bytes) -> TextCheck:
    """Predicts the effect of a text of any length over TCP if it is sent in a batch of its own."""
    struct = new("text_check")
    _instance().call(C.check_text, *string(text), byref(struct))
    return value(TextCheck, struct)


def encode_text(text: bytes) -> Optional[bytes]:
    """Converts any bytes to a text that arrives unchanged. Up to 799 bytes always can be; None if a longer text cannot."""
    return _instance().optional_text(C.encode_text, *string(text))


def decode_text(text: bytes) -> Optional[bytes]:
    """Converts a text of :func:`encode_text` back; None if no such call made it."""
    return _instance().optional_text(C.decode_text, *string(text))


def parse_report(text: bytes) -> Optional[Report]:
    """Takes apart a report of the library, such as ``b"X000E0701[#I5#$TABC$$S127.0.0.1:20105$]09300518112026"``; None for
    any other text. A peer can send a text in this form: ``QuarnSocket.next_item`` distinguishes the two."""
    struct = new("report")
    _instance().call(C.parse_report, *string(text), byref(struct))
    return value(Report, struct) if struct.code else None


def in_words(failure: LinkFailure) -> str:
    """The reason of a link's failure in plain words, such as "error 10061, The requested connection has been refused by
    the remote host"."""
    struct = TYPES["link_failure"]()
    text = failure.text.encode("latin-1")
    struct.kind, struct.number = number_of(failure.kind), failure.number
    struct.text.bytes, struct.text.length = cast(c_char_p(text), c_void_p), len(text)
    return _instance().text(C.in_words, byref(struct)).decode("latin-1")


def port_for_type(type: bytes, identifier: int) -> int:
    """The TCP port of a link. Raises Failure 6 if there is none for this identifier."""
    port = TYPES["int32"]()
    call_process(C.port_for_type, *string(type, "a type"), number(identifier), byref(port))
    return int(port.value)
