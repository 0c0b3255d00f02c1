#!/usr/bin/env python3
"""Records hosts that exchange texts over loopback TCP and checks that every recording replays without a difference.

    recorded_hosts.py QUARN [--seconds N] [--pairs P] [--links L] [--seed S]

The hosts of a pair have links in both roles. They close and open links and switch the log and debug captures. One of
the two runs throughout, the other is killed and restarted. Needs about 20 MB of disk a minute. Exit status 0 if every
recording replays and every host received texts.
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

ITEMS_PER_POLL = 4  # per link; more than its peer sends
CLOSES, OPENINGS, SWITCHES = 0.01, 0.05, 0.02  # probability per poll
KILL_SECONDS = 20, 60  # between two kills; a link needs 10 to connect
LEAVING_SECONDS_MAX = 60
CUT_OFF = "as if the file had been cut off here"  # replay's message about an incomplete last line


class RecordedHost(Host):
    def __init__(self, command, side, identifiers, rng, prefix):
        super().__init__(command, side, identifiers[0], rng)
        self.identifiers, self.prefix = identifiers, prefix
        self.counts, self.leaving = collections.Counter(), False

    async def turn(self):
        self.closed = set()
        links = range(1, len(self.identifiers) + 1)
        requests = [("Init", self.prefix)]
        requests += [("Add", "TEST", identifier, (number % 2 == 0) == (self.side == "client"), True)
                     for number, identifier in enumerate(self.identifiers)]
        requests += [("Apri", link) for link in links]
        while await self.request(requests) is not None:
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
        await self.request([("Uscita",)])
        while not (await self.request([("ProntoPerUscire",)]))[0]:
            await asyncio.sleep(POLL_SECONDS)
        self.process.stdin.close()

    def next_text(self):
        return super().next_text() + "\u00ff\\" * self.random.randrange(50)

    def note_sent(self, text):
        self.counts["texts sent"] += 1

    def take(self, item):
        self.counts["reports" if item.startswith("X000E") else "texts arrived"] += 1


class Pair:
    def __init__(self, command, identifiers, rng, folder):
        self.random = rng
        self.hosts = [RecordedHost(command, side, identifiers, rng, f"{folder}/{side}-{identifiers[0]}-")
                      for side in ("server", "client")]
        self.killed_host = rng.choice(self.hosts)

    async def run(self, seconds):
        end = time.monotonic() + seconds
        for host in self.hosts:
            await host.start()
        while (moment := time.monotonic() + self.random.uniform(*KILL_SECONDS)) < end:
            await self.watch(moment)
            self.killed_host.kill()
            await self.killed_host.ended()
            await asyncio.sleep(self.random.uniform(0, 5))
            await self.killed_host.start()
        await self.watch(end)
        for host in self.hosts:
            host.leaving = True
        await asyncio.wait_for(asyncio.gather(*(host.ended() for host in self.hosts)), LEAVING_SECONDS_MAX)

    async def watch(self, moment):
        while time.monotonic() < moment:
            for host in self.hosts:
                host.check_alive()
            await asyncio.sleep(0.5)

    def failures(self):
        for host in self.hosts:
            if host.process.returncode != 0:
                yield f"{host.side} {host.identifier} ended with {host.process.returncode}"
            if not host.counts["texts arrived"]:
                yield f"{host.side} {host.identifier} received no text"


def replay(quarn, recording, killed):
    """Replays one recording; returns its steps and a list of failures. A killed host may leave half a line."""
    result = subprocess.run([quarn, "replay", recording], capture_output=True, text=True, errors="replace")
    replayed = re.search(r": no difference.*?: (\d+) step", result.stdout)
    passed = replayed and (result.returncode == 0 or (killed and CUT_OFF in result.stderr))
    return int(replayed[1]) if replayed else 0, [] if passed else [result.stdout + result.stderr]


def replay_all(quarn, folder, pairs):
    failures = [failure for pair in pairs for failure in pair.failures()]
    hosts = [host for pair in pairs for host in pair.hosts]
    counts = sum((host.counts for host in hosts), collections.Counter())
    for host in hosts:
        for number, life in enumerate(host.lives, 1):
            recording = folder / f"{host.identifier}-{host.side}-{number}.jsonl"
            steps, replay_failures = replay(quarn, recording, life.killed < float("inf"))
            counts.update({"recordings": 1, "steps": steps, "bytes": recording.stat().st_size})
            failures += replay_failures
    print(", ".join(f"{count} {name}" for name, count in sorted(counts.items())))
    print("\n".join(failures) or "every recording replays without a difference")
    return not failures


async def run(arguments, folder):
    def command(name):
        return [arguments.quarn, "rpc", "--record", f"{folder}/{name}.jsonl"]

    rng = random.Random(arguments.seed)
    pairs = [Pair(command, [next(IDENTIFIERS) for _ in range(arguments.links)], random.Random(rng.random()), folder)
             for _ in range(arguments.pairs)]
    await asyncio.gather(*(pair.run(arguments.seconds) for pair in pairs))
    return replay_all(arguments.quarn, folder, pairs)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("quarn")
    parser.add_argument("--seconds", type=int, default=60)
    parser.add_argument("--pairs", type=int, default=3)
    parser.add_argument("--links", type=int, default=6, help="links of each pair, half of them in each role")
    parser.add_argument("--seed", type=int, default=random.randrange(10**6))
    arguments = parser.parse_args()
    folder = pathlib.Path(tempfile.mkdtemp(prefix="recorded-hosts-"))
    print(f"seed {arguments.seed}, recordings in {folder}", flush=True)
    passed = asyncio.run(run(arguments, folder))
    if passed:
        shutil.rmtree(folder)
    sys.exit(0 if passed else 1)


if __name__ == "__main__":
    main()
