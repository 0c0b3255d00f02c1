"""Keeps TCP links between this program and its peers, with the library Quarnex.

:class:`Host` and :class:`Link` work in an asyncio loop::

    async with quarnex.Host() as host, host.call(b"METEO", 7) as link:
        await link.connected()
        receipt = await link.send(b"HELLO")
        async for text in link:
            print(text)

:class:`QuarnSocket` has the 15 methods, for programs with a loop of their own. Texts are ``bytes``.
"""
from . import events
from ._library import C as _C
from ._library import Failure, WrongUse
from .host import EventStream, Host
from .link import Link
from .quarn_socket import QuarnSocket, Refused
from .recorder import flight_losses, flush_flight, record_flight
from .text_rules import check_text, decode_text, encode_text, in_words, parse_report, port_for_type
from .values import (Cause, EventType, FailureKind, FileLosses, LinkFailure, Outage, Outcome, OutcomeCounts, PendingTexts,
                     Phase, ProcessSnapshot, Receipt, Refusal, Report, Rule, Snapshot, TextCheck)

__version__: str = _C.version().decode("ascii")

__all__ = [
    "Cause", "EventStream", "EventType", "Failure", "FailureKind", "FileLosses", "Host", "Link", "LinkFailure",
    "Outage", "Outcome", "OutcomeCounts", "PendingTexts", "Phase", "ProcessSnapshot", "QuarnSocket", "Receipt",
    "Refusal", "Refused", "Report", "Rule", "Snapshot", "TextCheck", "WrongUse", "check_text", "decode_text",
    "encode_text", "events", "flight_losses", "flush_flight", "in_words", "parse_report", "port_for_type",
    "record_flight",
]
