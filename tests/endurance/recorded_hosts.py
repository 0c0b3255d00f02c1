#!/usr/bin/env python3
"""Records hosts that exchange texts over loopback TCP, and replays every recording: none may differ.

    recorded_hosts.py QUARN [--seconds N] [--pairs P] [--links L] [--seed S]

The hosts of a pair have links in both roles. They close links and open them again, switch the log and debug captures; one
of the two lives through it all, the other is killed and started anew. Takes about 20 MB of disk a minute. Exit status 0 if
every recording plays and every host got texts.
"""
import argparse
import asyncio
import collections
import pathlib
import random
import re
import shutil
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "tool"))
from hosts import BURST, BURSTS, POLL_SECONDS, Host  # noqa: E402
from peer import IDENTIFIERS  # noqa: E402

ITEMS_PER_POLL = 4  # of each link, more than its peer sends
CLOSES, OPENINGS, SWITCHES = 0.01, 0.05, 0.02  # share of the polls
KILL_SECONDS = 20, 60  # apart, and a link needs 10 to come up
LEAVING_SECONDS_MAX = 60
CUT_OFF = "as if the file had been cut off here"  # what replay says of a last line that is not whole


class RecordedHost(Host):
    def __init__(self, command, side, identifiers, drawn, prefix):
        super().__init__(command, side, identifiers[0], drawn)
        self.identifiers, self.prefix = identifiers, prefix
        self.counts, self.leaving = collections.Counter(), False

    async def turn(self):
        self.closed = set()
        links = range(1, len(self.identifiers) + 1)
        requests = [("Init", self.prefix)]
        requests += [("Add", "TEST", identifier, (number % 2 == 0) == (self.side == "client"), True)
                     for number, identifier in enumerate(self.identifiers)]
        requests += [("Apri", link) for link in links]
        while await self.carry_out(requests) is not None:
            await asyncio.sleep(POLL_SECONDS)
            if self.leaving:
                return await self.leave()
            requests = self.disturbances(links)
            for link in links:
                if self.random.random() < BURSTS:
                    requests += [("Invia", link, self.next_text()) for _ in range(BURST)]
                requests += [("GetMessaggioArrivato", link)] * ITEMS_PER_POLL

    def disturbances(self, links):
        link = self.random.choice(links)
        if self.closed and self.random.random() < OPENINGS:
            return [("Apri", self.closed.pop())]
        if link not in self.closed and self.random.random() < CLOSES:
            self.closed.add(link)
            return [("Chiudi", link)]
        if self.random.random() < SWITCHES:
            return [self.random.choice([("AttivaLog",), ("DisattivaLog", link), ("AttivaDebug", link),
                                        ("DisattivaDebug", link)])]
        return [("GetDebug", link), ("Connesso", link)]

    async def leave(self):
        await self.carry_out([("Uscita",)])
        while not (await self.carry_out([("ProntoPerUscire",)]))[0]:
            await asyncio.sleep(POLL_SECONDS)
        self.process.stdin.close()

    def next_text(self):
        return super().next_text() + "\u00ff\\" * self.random.randrange(50)

    def note_sent(self, text):
        self.counts["texts handed over"] += 1

    def take(self, item):
        self.counts["reports" if item.startswith("X000E") else "texts arrived"] += 1


class Pair:
    def __init__(self, command, identifiers, drawn, folder):
        self.random = drawn
        self.hosts = [RecordedHost(command, side, identifiers, drawn, f"{folder}/{side}-{identifiers[0]}-")
                      for side in ("server", "client")]
        self.mortal = drawn.choice(self.hosts)

    async def run(self, seconds):
        end = time.monotonic() + seconds
        for host in self.hosts:
            await host.start()
        while (moment := time.monotonic() + self.random.uniform(*KILL_SECONDS)) < end:
            await self.watch(moment)
            self.mortal.kill()
            await self.mortal.buried()
            await asyncio.sleep(self.random.uniform(0, 5))
            await self.mortal.start()
        await self.watch(end)
        for host in self.hosts:
            host.leaving = True
        await asyncio.wait_for(asyncio.gather(*(host.buried() for host in self.hosts)), LEAVING_SECONDS_MAX)

    async def watch(self, moment):
        while time.monotonic() < moment:
            for host in self.hosts:
                host.check_alive()
            await asyncio.sleep(0.5)

    def flaws(self):
        for host in self.hosts:
            if host.process.returncode != 0:
                yield f"{host.side} {host.identifier} ended with {host.process.returncode}"
            if not host.counts["texts arrived"]:
                yield f"{host.side} {host.identifier} got no text"


def replay(quarn, recording, killed):
    """How many steps it has, and what is wrong with it; whoever is killed may leave half a line at the end."""
    played = subprocess.run([quarn, "replay", recording], capture_output=True, text=True, errors="replace")
    plays = re.search(r": no difference.*?: (\d+) step", played.stdout)
    well = plays and (played.returncode == 0 or (killed and CUT_OFF in played.stderr))
    return int(plays[1]) if plays else 0, [] if well else [played.stdout + played.stderr]


def replay_all(quarn, folder, pairs):
    flaws = [flaw for pair in pairs for flaw in pair.flaws()]
    hosts = [host for pair in pairs for host in pair.hosts]
    counts = sum((host.counts for host in hosts), collections.Counter())
    for host in hosts:
        for number, life in enumerate(host.lives, 1):
            recording = folder / f"{host.identifier}-{host.side}-{number}.jsonl"
            steps, wrong = replay(quarn, recording, life.killed < float("inf"))
            counts.update({"recordings": 1, "steps": steps, "bytes": recording.stat().st_size})
            flaws += wrong
    print(", ".join(f"{count} {what}" for what, count in sorted(counts.items())))
    print("\n".join(flaws) or "no recording differs")
    return not flaws


async def run(arguments, folder):
    def command(name):
        return [arguments.quarn, "rpc", "--record", f"{folder}/{name}.jsonl"]

    drawn = random.Random(arguments.seed)
    pairs = [Pair(command, [next(IDENTIFIERS) for _ in range(arguments.links)], random.Random(drawn.random()), folder)
             for _ in range(arguments.pairs)]
    await asyncio.gather(*(pair.run(arguments.seconds) for pair in pairs))
    return replay_all(arguments.quarn, folder, pairs)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("quarn")
    parser.add_argument("--seconds", type=int, default=60)
    parser.add_argument("--pairs", type=int, default=3)
    parser.add_argument("--links", type=int, default=6, help="of each pair, half of them in each role")
    parser.add_argument("--seed", type=int, default=random.randrange(10**6))
    arguments = parser.parse_args()
    folder = pathlib.Path(tempfile.mkdtemp(prefix="recorded-hosts-"))
    print(f"seed {arguments.seed}, recordings in {folder}", flush=True)
    well = asyncio.run(run(arguments, folder))
    if well:
        shutil.rmtree(folder)
    sys.exit(0 if well else 1)


if __name__ == "__main__":
    main()
