"""Drives hosts: `quarn rpc` processes that exchange texts, are killed at any moment and start again.

On a host's first link each text names its sender: "client.3.17" is the 17th text of the client's third process. This
program keeps the list of texts sent and received, so it survives the processes. The other links are closed, opened and
used at random.
"""
import asyncio
import dataclasses
import json
import time

POLL_SECONDS = 0.25
BURST = 6
BURSTS = 0.3  # share of polls that send; a client that always has texts never asks for the server's texts
ITEMS_PER_POLL = 8
CLOSES, OPENINGS, SWITCHES = 0.01, 0.05, 0.02  # probability per poll
OTHER_TEXT = "\u00ff\\" * 20
FAILURES = ("X000E0991[", "X000E0109[")  # reports that follow the emptying of the queues


@dataclasses.dataclass
class ProcessRun:
    """One process: its start, its end, and the times at which its host read a report of a failed link."""
    began: float
    killed: float = float("inf")
    emptied: list = dataclasses.field(default_factory=list)
    offered: int = 0  # texts passed to the library, answered or not


class Host:
    def __init__(self, quarn, side, identifiers, rng, folder):
        self.quarn, self.side, self.identifiers, self.random, self.folder = quarn, side, identifiers, rng, folder
        self.runs = []
        self.sent = {}  # (run, number) -> time at which the library accepted the text
        self.taken = []  # (time, own run, (run, number) of the peer), in order of arrival
        self.sending, self.leaving = True, False

    @property
    def name(self):
        return f"{self.identifiers[0]}-{self.side}"

    def recording(self, run):
        return self.folder / f"{self.name}-{run}.jsonl"

    async def start(self):
        self.runs.append(ProcessRun(time.monotonic()))
        self.process = await asyncio.create_subprocess_exec(
            self.quarn, "rpc", "--record", self.recording(len(self.runs)),
            stdin=asyncio.subprocess.PIPE, stdout=asyncio.subprocess.PIPE)
        self.turning = asyncio.create_task(self.turn())

    def kill(self):
        """Kills the process; its earlier answers can still be read."""
        self.process.kill()
        self.runs[-1].killed = time.monotonic()

    async def ended(self):
        await self.turning
        await self.process.wait()

    def check_alive(self):
        if self.turning.done():
            raise self.turning.exception() or RuntimeError(f"{self.name} ended by itself")

    async def turn(self):
        """Runs the host's loop until the process ends."""
        requests, self.closed = [("Init", f"{self.folder}/{self.name}-")], set()
        for number, identifier in enumerate(self.identifiers):
            requests += [("Add", "TEST", identifier, (number % 2 == 0) == (self.side == "client"), True),
                         ("Apri", number + 1)]
        results = await self.request([*requests, ("Connesso", 1)])
        while results is not None and not self.leaving:
            requests = [("GetMessaggioArrivato", 1)] * ITEMS_PER_POLL + self.disturbances()
            if results[-1] and self.sending and self.random.random() < BURSTS:
                requests += [("Invia", 1, self.next_text()) for _ in range(BURST)]
            before = len(self.taken)
            results = await self.request([*requests, ("Connesso", 1)])
            if len(self.taken) < before + ITEMS_PER_POLL:
                await asyncio.sleep(POLL_SECONDS)
        self.process.stdin.close()

    def disturbances(self):
        """Requests without an effect on the first link."""
        requests = [("GetDebug", 1)]
        for link in range(2, len(self.identifiers) + 1):
            if self.random.random() < (OPENINGS if link in self.closed else CLOSES):
                requests.append(("Apri" if link in self.closed else "Chiudi", link))
                self.closed ^= {link}
            if self.random.random() < BURSTS:
                requests += [("Invia", link, OTHER_TEXT)] * BURST
            requests += [("GetMessaggioArrivato", link)] * ITEMS_PER_POLL
        if self.random.random() < SWITCHES:
            requests.append(self.random.choice([("AttivaLog",), ("DisattivaLog", 1), ("AttivaDebug", 1),
                                                ("DisattivaDebug", 1)]))
        return requests

    def next_text(self):
        self.runs[-1].offered += 1
        return f"{self.side}.{len(self.runs)}.{self.runs[-1].offered}"

    async def request(self, requests):
        """Sends the requests and returns their results; None if the process has ended."""
        lines = [json.dumps({"jsonrpc": "2.0", "id": 1, "method": method, "params": parameters})
                 for method, *parameters in requests]
        self.process.stdin.write(("\n".join(lines) + "\n").encode())
        results = []
        for method, *parameters in requests:
            answer = await self.process.stdout.readline()
            if not answer.endswith(b"\n"):
                return None
            results.append(json.loads(answer)["result"])
            if (method, parameters[:1]) == ("Invia", [1]):
                self.sent[identity(parameters[1])] = time.monotonic()
            elif (method, parameters) == ("GetMessaggioArrivato", [1]) and results[-1]:
                self.take(results[-1])
        return results

    def take(self, item):
        if not item.startswith("X000E"):
            self.taken.append((time.monotonic(), len(self.runs), identity(item)))
        elif item.startswith(FAILURES):
            self.runs[-1].emptied.append(time.monotonic())

    def has_text_since(self, peer, moment):
        """True if it has received a text that its peer sent after that moment."""
        return bool(self.taken) and peer.sent.get(self.taken[-1][2], 0) > moment


def identity(text):
    try:
        _, run, number = text.split(".")
        return int(run), int(number)
    except ValueError:
        raise RuntimeError(f"{text!r} is not a text of these hosts: does another program use their ports?") from None
