"""Turns the library in an asyncio loop, and resolves what coroutines wait for: received texts, receipts and events."""
from __future__ import annotations

import asyncio
import itertools
import weakref
from collections import deque
from types import TracebackType
from typing import Any, AsyncIterator, Deque, Dict, List, Optional, Type

from ._library import Failure, Process, WrongUse
from .events import Event, Lost, Receipts
from .link import Link
from .quarn_socket import QuarnSocket
from .values import Cause, Outcome, Receipt

#: Events that an EventStream keeps for a reader that is behind.
EVENTS_MAX = 10_000
_WHOLE_PROCESS = 0


class EventStream(AsyncIterator[Event]):
    """An asynchronous iterator over events from the moment of its creation on. It ends with its Host. A reader that is
    10,000 events behind gets these, and then WrongUse."""

    def __init__(self, link: int) -> None:
        self._link = link
        self._events: Deque[Event] = deque()
        self._news = asyncio.Event()
        self._ended = False
        self._overrun = False

    def offer(self, event: Event) -> None:
        """For Host: adds an event, if it belongs here."""
        belongs = self._link in (_WHOLE_PROCESS, event.link) or isinstance(event, Lost)
        if not belongs or self._overrun:
            return
        self._overrun = len(self._events) == EVENTS_MAX
        if not self._overrun:
            self._events.append(event)
        self._news.set()

    def end(self) -> None:
        """For Host: lets the iteration end."""
        self._ended = True
        self._news.set()

    async def __anext__(self) -> Event:
        while not self._events:
            if self._overrun:
                raise WrongUse(f"this reader of events was {EVENTS_MAX} events behind, and later ones are missing")
            if self._ended:
                raise StopAsyncIteration
            self._news.clear()
            await self._news.wait()
        return self._events.popleft()


class Host:
    """The links of this process in the running asyncio loop, which turns the library through its descriptor, without a
    thread.

    It works between the beginning and the end of ``async with``. The end leaves the links as they are: close them before,
    with ``async with`` for each or with :meth:`leave`, because nothing turns the library afterwards. One Host of a process
    works at a time. It takes all events of the queue, so do not call ``quarn.next_event`` beside it::

        async with quarnex.Host() as host:
            link = host.listen(b"METEO", 7)
            link.open()
            async for text in link:
                print(text)

    If the loop of a Host is closed before its end, calls raise WrongUse, and a new Host can go on with the links.
    """

    def __init__(self, quarn: Optional[QuarnSocket] = None) -> None:
        """``quarn``: the handle to use, by default one of its own. Raises Failure 10024 like QuarnSocket."""
        self._quarn = quarn or QuarnSocket()
        self._loop: Optional[asyncio.AbstractEventLoop] = None
        self._fd = -1
        self._links: Dict[int, Link] = {}
        # Dictionaries keep the order, so that a test in virtual time runs the same way again.
        self._changes: Dict[int, Dict[asyncio.Future[None], None]] = {}
        self._receipts: Dict[int, Dict[int, asyncio.Future[Receipt]]] = {}
        self._streams: weakref.WeakValueDictionary[int, EventStream] = weakref.WeakValueDictionary()
        self._stream_numbers = itertools.count()
        self._collection: Optional[asyncio.Handle] = None

    async def __aenter__(self) -> Host:
        process = Process.current
        other: Optional[Host] = process.host() if process.host else None
        if other is not None and other._loop is not None and not other._loop.is_closed():
            raise WrongUse("another Host of this process is working: share it")
        loop = asyncio.get_running_loop()
        self._fd = self._quarn.fd()
        loop.add_reader(self._fd, self._turn)
        self._loop, process.host = loop, weakref.ref(self)
        self.collect_soon()
        return self

    async def __aexit__(self, kind: Optional[Type[BaseException]], error: Optional[BaseException],
                        trace: Optional[TracebackType]) -> None:
        self._end(WrongUse("the Host has ended"))

    @property
    def quarn(self) -> QuarnSocket:
        """The handle with the 15 methods and everything else that has no name here."""
        if self._loop is None:
            raise WrongUse('a Host works between the beginning and the end of "async with"')
        if self._loop.is_closed():
            raise WrongUse("the event loop of this Host is closed; the links go on with a new Host in a new loop")
        return self._quarn

    def listen(self, type: bytes, identifier: int) -> Link:
        """Adds a link that listens for its peer on all local addresses. Type and identifier (0 to 999) determine the
        port."""
        return self.link(self.quarn.Add(type, identifier, False, True))

    def call(self, type: bytes, identifier: int) -> Link:
        """Adds a link that calls its peer on 127.0.0.1."""
        return self.link(self.quarn.Add(type, identifier, True, True))

    def local(self, type: bytes, identifier: int) -> Link:
        """Adds one end of a link inside the process; the other end is the next link of this type and identifier."""
        return self.link(self.quarn.Add(type, identifier, False, False))

    def link(self, index: int) -> Link:
        """The link with this index of QuarnSocket. Enables its events. Raises Failure 5 if there is none."""
        if index not in self._links:
            self.quarn.enable_events(index)
            self._links[index] = Link(self, index)
        return self._links[index]

    def events(self) -> EventStream:
        """The events of all links from now on, and those of the whole process."""
        return self.stream(_WHOLE_PROCESS)

    async def leave(self, within: float = 10.0) -> None:
        """Closes all links for good once all their texts have an outcome, at most ``within`` seconds later, and waits
        until none is in service."""
        self.quarn.drain_and_leave(within)
        while self.quarn.ProntoPerUscire() == 0:
            await self.change(_WHOLE_PROCESS)

    # For Link.

    def stream(self, link: int) -> EventStream:
        """The events of a link, or with 0 of all links."""
        self.quarn  # raises WrongUse if nothing would come
        stream = EventStream(link)
        self._streams[next(self._stream_numbers)] = stream
        return stream

    async def change(self, link: int) -> None:
        """Waits until something happens to a link; with 0, until the library has been turned."""
        assert self._loop is not None
        change: asyncio.Future[None] = self._loop.create_future()
        waiting = self._changes.setdefault(link, {})
        waiting[change] = None
        try:
            await change
        finally:
            waiting.pop(change, None)

    async def receipt(self, link: int, number: int) -> Receipt:
        """Waits for the outcome of a text."""
        assert self._loop is not None
        receipt: asyncio.Future[Receipt] = self._loop.create_future()
        waiting = self._receipts.setdefault(link, {})
        waiting[number] = receipt
        try:
            return await receipt
        finally:
            waiting.pop(number, None)

    def collect_soon(self) -> None:
        """Collects what a call has caused, which no descriptor announces."""
        if self._collection is None and self._loop is not None:
            self._collection = self._loop.call_soon(self._collect)

    def _turn(self) -> None:
        try:
            self._quarn.turn(0)
        except (Failure, WrongUse) as problem:
            self._end(problem)
        else:
            self._collect()

    def _collect(self) -> None:
        self._collection = None
        if self._loop is None or self._quarn.closed:
            return
        event, are_lost = self._quarn.next_event(), False
        while event is not None:
            self._settle(event)
            are_lost = are_lost or isinstance(event, Lost)
            event = self._quarn.next_event()
        if are_lost:
            self._resolve_lost()
        for link in self._quarn.links_with_news():
            self._wake(link)
        self._wake(_WHOLE_PROCESS)

    def _settle(self, event: Event) -> None:
        for stream in list(self._streams.values()):
            stream.offer(event)
        if isinstance(event, Receipts):
            self._resolve(event.link, event.receipt)
        self._wake(event.link)

    def _resolve(self, link: int, receipt: Receipt) -> None:
        waiting = self._receipts.get(link, {})
        for number in [each for each in waiting if receipt.from_ <= each <= receipt.to]:
            future = waiting.pop(number)
            if not future.done():
                future.set_result(receipt)

    def _resolve_lost(self) -> None:
        """Texts that are not pending any more had their receipts among the lost events."""
        for link, waiting in self._receipts.items():
            pending = self._quarn.pending(link)
            for number in list(waiting):
                if not any(texts.from_ <= number <= texts.to for texts in pending):
                    self._resolve(link, Receipt(number, number, Outcome.UNKNOWN, Cause.NONE, 0, 0))

    def _wake(self, link: int) -> None:
        for change in self._changes.pop(link, ()):
            if not change.done():
                change.set_result(None)

    def _end(self, reason: Exception) -> None:
        if self._loop is None:
            return
        if not self._loop.is_closed():
            self._loop.remove_reader(self._fd)
        self._loop = None
        for stream in list(self._streams.values()):
            stream.end()
        waiting: List[asyncio.Future[Any]] = [each for link in self._changes.values() for each in link]
        waiting += [each for numbers in self._receipts.values() for each in numbers.values()]
        for future in waiting:
            if not future.done():
                future.set_exception(reason)
