"""A link in an asyncio loop: sends texts and awaits their receipts, and iterates over received texts and events."""
from __future__ import annotations

from types import TracebackType
from typing import TYPE_CHECKING, AsyncIterator, List, Optional, Type

from .events import Drained, Lost
from .values import EventType, Outage, Phase, Receipt, Snapshot

if TYPE_CHECKING:
    from .host import EventStream, Host


class Link(AsyncIterator[bytes]):
    """One link of a Host, which makes it. ``async with`` opens it and closes it without loss; ``async for`` iterates over
    its received texts until it is closed.

    ``link.index`` is its index, for the methods of QuarnSocket, which can be mixed with these.
    """

    def __init__(self, host: Host, index: int) -> None:
        self._host = host
        self.index = index

    def __repr__(self) -> str:
        return f"<quarnex.Link {self.index}>"

    async def __aenter__(self) -> Link:
        self.open()
        return self

    async def __aexit__(self, kind: Optional[Type[BaseException]], error: Optional[BaseException],
                        trace: Optional[TracebackType]) -> None:
        """Closes the link: without loss within 10 seconds, or after an exception at once."""
        if error is not None:
            self.close()
        elif self._phase() not in (Phase.CLOSED, Phase.LOCAL):
            await self.drain_and_close()

    def open(self) -> None:
        """Opens the link: it listens or calls after 10 seconds, and again after each failure. On a link that is open but
        not connected this drops its queued texts."""
        self._host.quarn.Apri(self.index)
        self._host.collect_soon()

    def close(self) -> None:
        """Closes the link and drops the texts that have no outcome yet."""
        self._host.quarn.Chiudi(self.index)
        self._host.collect_soon()

    async def drain_and_close(self, within: float = 10.0) -> Optional[Drained]:
        """Closes the link once all its texts have an outcome, at most ``within`` seconds later, and returns the fates when
        it is closed; None if they were among the events that a full queue dropped. That takes at most 7 seconds longer.
        Cancelling it does not keep the link open. Raises Failure 5 for a link without TCP."""
        stream = self.events()
        self._host.quarn.drain_and_close(self.index, within)
        self._host.collect_soon()
        drained: Optional[Drained] = None
        async for event in stream:
            if isinstance(event, Drained):
                drained = event
            if drained or isinstance(event, Lost) and EventType.DRAINED in event.lost_events:
                break
        while self._phase() is not Phase.CLOSED:
            await self._host.change(self.index)
        return drained

    @property
    def is_connected(self) -> bool:
        """True while the connection exists, and for a link without TCP."""
        return self._host.quarn.Connesso(self.index)

    async def connected(self) -> None:
        """Waits until the link is connected. Raises ConnectionError if it is closed."""
        while not self.is_connected:
            if self._phase() is Phase.CLOSED:
                raise ConnectionError(f"the link is closed: {self.snapshot().why}")
            await self._host.change(self.index)

    def post(self, text: bytes) -> int:
        """Queues a text and returns its number, without waiting for its outcome. Raises Refused with the reason if it is
        not queued."""
        number = self._host.quarn.send(self.index, text)
        self._host.collect_soon()
        return number

    async def send(self, text: bytes) -> Receipt:
        """Queues a text and returns its receipt, which may cover further texts: acknowledged, or dropped or unknown with
        the cause. It is unknown without a cause if the receipt was among the events that a full queue dropped. Raises
        Refused with the reason if the text is not queued. Cancelling it does not cancel the text.

        Send while the link is connected: each attempt to connect drops the queued texts.
        """
        return await self._host.receipt(self.index, self.post(text))

    def receive_nowait(self) -> Optional[bytes]:
        """Takes out the oldest received text, and discards the reports before it; None if no text waits."""
        return self._host.quarn.receive(self.index)

    async def receive(self) -> Optional[bytes]:
        """Waits for the next text of the peer; returns None if none waits and the link is closed."""
        text = self.receive_nowait()
        while text is None and self._phase() is not Phase.CLOSED:
            await self._host.change(self.index)
            text = self.receive_nowait()
        return text

    async def __anext__(self) -> bytes:
        text = await self.receive()
        if text is None:
            raise StopAsyncIteration
        return text

    def events(self) -> EventStream:
        """The events of this link from now on, and Lost in place of those that a full queue dropped."""
        return self._host.stream(self.index)

    def snapshot(self) -> Snapshot:
        """The state of the link, and the reason why it is down."""
        snapshot = self._host.quarn.snapshot(self.index)
        assert snapshot is not None, "a Host only makes links that exist"
        return snapshot

    def outages(self) -> List[Outage]:
        """The latest times without connection, at most 32, oldest first."""
        return self._host.quarn.outages(self.index)

    def _phase(self) -> Phase:
        return self.snapshot().phase
