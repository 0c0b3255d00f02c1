#!/usr/bin/env python3
"""Kills hosts at random moments of an exchange over loopback TCP, restarts them and explains the fate of every text.

    killed_hosts.py QUARN [--kills N] [--pairs P] [--links L] [--seed S]

Pairs of processes run in parallel, because a link needs 10 seconds to connect. Exit status 0 if every link reconnected,
every lost or repeated text has a cause, and the recording of every process replays without a difference.
"""
import argparse
import asyncio
import collections
import pathlib
import random
import re
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "tool"))
from account import Account  # noqa: E402
from hosts import Host  # noqa: E402
from peer import IDENTIFIERS  # noqa: E402

RECOVERY_SECONDS_MAX = 95
EARLY_KILLS = 0.15  # share of kills that do not wait for the recovery from the last one
CUT_OFF = "as if the file had been cut off here"  # replay's message about an incomplete last line


class Pair:
    def __init__(self, quarn, identifiers, rng, folder):
        self.random = rng
        self.hosts = [Host(quarn, side, identifiers, rng, folder) for side in ("server", "client")]
        self.server, self.client = self.hosts
        self.recoveries = []  # (killed side, seconds until recovery)
        self.kills = collections.Counter()

    async def run(self, kills):
        await self.server.start()
        await asyncio.sleep(1.2)  # so that the server listens before the client calls
        await self.client.start()
        await self.recovered(time.monotonic())
        for left in reversed(range(kills)):
            await self.kill_and_restart(self.random.choice(["server", "client", "both"]), left > 0)
        await self.settle()

    async def kill_and_restart(self, who, more_to_come):
        await asyncio.sleep(self.random.uniform(0, 2.5))
        self.kills[who] += 1
        killed = [host for host in self.hosts if who in (host.side, "both")]
        moment = time.monotonic()
        for host in killed:
            host.kill()
        for host in killed:
            await host.ended()
            await asyncio.sleep(self.random.uniform(0, 0.5))
            await host.start()
        if more_to_come and self.random.random() < EARLY_KILLS:
            return await asyncio.sleep(self.random.uniform(0, 20))
        self.recoveries.append((who, await self.recovered(moment)))

    async def recovered(self, moment):
        """Waits until each side has a text that the other sent after `moment`; returns the seconds since then."""
        while not (self.server.has_text_since(self.client, moment) and self.client.has_text_since(self.server, moment)):
            if time.monotonic() - moment > RECOVERY_SECONDS_MAX:
                raise TimeoutError(f"{self.server.name} did not recover within {RECOVERY_SECONDS_MAX} seconds")
            for host in self.hosts:
                host.check_alive()
            await asyncio.sleep(0.05)
        return time.monotonic() - moment

    async def settle(self):
        """Lets the last texts arrive, then ends both processes."""
        self.server.sending = self.client.sending = False
        await asyncio.sleep(6)  # a batch is repeated after 5 seconds
        for host in self.hosts:
            host.leaving = True
        for host in self.hosts:
            await host.ended()
            if host.process.returncode != 0:
                raise RuntimeError(f"{host.name} ended with {host.process.returncode}")

    def accounts(self):
        return Account(self.server, self.client), Account(self.client, self.server)


def print_summary(pairs):
    """Prints counts and times; true if every loss and repetition has a cause."""
    kills = sum((pair.kills for pair in pairs), collections.Counter())
    print(f"{sum(kills.values())} kills: " + ", ".join(f"{who} {count}" for who, count in sorted(kills.items())))
    for who in sorted(kills):
        seconds = [taken for pair in pairs for killed, taken in pair.recoveries if killed == who]
        if seconds:
            print(f"  {who}: both directions work again after {statistics.median(seconds):.1f} s (median), "
                  f"{max(seconds):.1f} s at most")
    accounts = [account for pair in pairs for account in pair.accounts()]
    counts = sum((account.counts for account in accounts), collections.Counter())
    for fate, count in sorted(counts.items(), key=lambda item: str(item[0])):
        print(f"  {count:7} texts {fate or 'WITHOUT A CAUSE'}")
    unexplained = [f"{account.sender.name}: {line}" for account in accounts for line in account.unexplained]
    for line in unexplained:
        print(f"UNEXPLAINED, {line}")
    return not unexplained


def replay_all(quarn, hosts):
    """Replays the recording of every process; true if none differs. A killed process may leave half a line."""
    steps, failures = 0, []
    for host in hosts:
        for number, run in enumerate(host.runs, 1):
            result = subprocess.run([quarn, "replay", host.recording(number)], capture_output=True, text=True,
                                    errors="replace")
            replayed = re.search(r": no difference.*?: (\d+) step", result.stdout)
            steps += int(replayed[1]) if replayed else 0
            if not replayed or (result.returncode and (run.killed == float("inf") or CUT_OFF not in result.stderr)):
                failures.append(result.stdout + result.stderr)
    print("\n".join(failures) or f"every recording replays without a difference: {steps} steps")
    return not failures


async def run(arguments, folder):
    rng = random.Random(arguments.seed)
    pairs = [Pair(arguments.quarn, [next(IDENTIFIERS) for _ in range(arguments.links)], random.Random(rng.random()), folder)
             for _ in range(arguments.pairs)]
    kills = [arguments.kills // len(pairs) + (i < arguments.kills % len(pairs)) for i in range(len(pairs))]
    await asyncio.gather(*(pair.run(count) for pair, count in zip(pairs, kills)))
    explained = print_summary(pairs)
    return replay_all(arguments.quarn, [host for pair in pairs for host in pair.hosts]) and explained


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("quarn")
    parser.add_argument("--kills", type=int, default=20)
    parser.add_argument("--pairs", type=int, default=20)
    parser.add_argument("--seed", type=int, default=random.randrange(10**6))
    parser.add_argument("--links", type=int, default=1, help="links of each pair; the texts of the first are explained")
    arguments = parser.parse_args()
    if min(arguments.kills, arguments.pairs, arguments.links) < 1:
        parser.error("give at least one kill, one pair and one link")
    arguments.pairs = min(arguments.pairs, arguments.kills)
    folder = pathlib.Path(tempfile.mkdtemp(prefix="killed-hosts-"))
    print(f"seed {arguments.seed}, recordings in {folder}", flush=True)
    began = time.monotonic()
    passed = asyncio.run(run(arguments, folder))
    print(f"{time.monotonic() - began:.0f} seconds")
    if passed:
        shutil.rmtree(folder)
    sys.exit(0 if passed else 1)


if __name__ == "__main__":
    main()
