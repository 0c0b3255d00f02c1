"""Hosts of one link each: `quarn rpc` processes that exchange texts, are killed at any moment and start again.

Each text says who sent it: "client.3.17" is the 17th text of the client's third life. What was handed over and what came
is noted here, outside the processes, and outlives them.
"""
import asyncio
import dataclasses
import json
import time

POLL_SECONDS = 0.25
BURST = 6
BURSTS = 0.3  # share of the polls: a client that always had texts would never ask for those of its server
ITEMS_PER_POLL = 8
FAILURES = ("X000E0991[", "X000E0109[")  # the queues have just been emptied


@dataclasses.dataclass
class Life:
    """One process: when it began and ended, and when its host read that the link had failed."""
    began: float
    killed: float = float("inf")
    emptied: list = dataclasses.field(default_factory=list)
    handed: int = 0  # texts that were offered to the library


class Host:
    def __init__(self, command, side, identifier, drawn):
        self.command, self.side, self.identifier, self.random = command, side, identifier, drawn
        self.lives = []
        self.sent = {}  # (life, number): when the library had accepted it
        self.taken = []  # (when, own life, (life, number) of the peer), in order
        self.sending = True

    async def start(self):
        self.lives.append(Life(time.monotonic()))
        self.process = await asyncio.create_subprocess_exec(
            *self.command(f"{self.identifier}-{self.side}-{len(self.lives)}"),
            stdin=asyncio.subprocess.PIPE, stdout=asyncio.subprocess.PIPE)
        self.turning = asyncio.create_task(self.turn())

    def kill(self):
        """Ends the process without a warning; what it has answered before can still be read."""
        self.process.kill()
        self.lives[-1].killed = time.monotonic()

    async def buried(self):
        await self.turning
        await self.process.wait()

    def check_alive(self):
        if self.turning.done():
            raise self.turning.exception() or RuntimeError(f"{self.side} {self.identifier} ended by itself")

    async def turn(self):
        """The host's loop, until the process is gone."""
        results = await self.carry_out([("Init", ""), ("Add", "TEST", self.identifier, self.side == "client", True),
                                        ("Apri", 1), ("Connesso", 1)])
        while results is not None:
            requests = [("GetMessaggioArrivato", 1)] * ITEMS_PER_POLL
            if results[-1] and self.sending and self.random.random() < BURSTS:
                requests += [("Invia", 1, self.next_text()) for _ in range(BURST)]
            before = len(self.taken)
            results = await self.carry_out([*requests, ("Connesso", 1)])
            if len(self.taken) < before + ITEMS_PER_POLL:
                await asyncio.sleep(POLL_SECONDS)

    def next_text(self):
        self.lives[-1].handed += 1
        return f"{self.side}.{len(self.lives)}.{self.lives[-1].handed}"

    async def carry_out(self, requests):
        """The results; None if the process is gone."""
        lines = [json.dumps({"jsonrpc": "2.0", "id": 1, "method": method, "params": parameters})
                 for method, *parameters in requests]
        self.process.stdin.write(("\n".join(lines) + "\n").encode())
        results = []
        for method, *parameters in requests:
            answer = await self.process.stdout.readline()
            if not answer.endswith(b"\n"):
                return None
            results.append(json.loads(answer)["result"])
            if method == "Invia":
                self.note_sent(parameters[1])
            elif method == "GetMessaggioArrivato" and results[-1]:
                self.take(results[-1])
        return results

    def note_sent(self, text):
        self.sent[identity(text)] = time.monotonic()

    def take(self, item):
        if not item.startswith("X000E"):
            self.taken.append((time.monotonic(), len(self.lives), identity(item)))
        elif item.startswith(FAILURES):
            self.lives[-1].emptied.append(time.monotonic())

    def heard_since(self, peer, moment):
        """Whether it has got a text that its peer handed over after that moment."""
        return bool(self.taken) and peer.sent.get(self.taken[-1][2], 0) > moment


def identity(text):
    try:
        _, life, number = text.split(".")
        return int(life), int(number)
    except ValueError:
        raise RuntimeError(f"{text!r} is no text of these hosts: does another program use their ports?") from None
