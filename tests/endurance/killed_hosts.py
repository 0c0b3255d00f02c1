#!/usr/bin/env python3
"""Kills hosts at random moments of an exchange over loopback TCP, restarts them and explains the fate of every text.

    killed_hosts.py QUARN [--kills N] [--pairs P] [--seed S] [--record DIR]

Pairs of processes run in parallel, because a link needs 10 seconds to connect. Exit status 0 if every link reconnected
and every lost or repeated text has a cause.
"""
import argparse
import asyncio
import collections
import pathlib
import random
import statistics
import sys
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "tool"))
from account import Account  # noqa: E402
from hosts import Host  # noqa: E402
from peer import IDENTIFIERS  # noqa: E402

RECOVERY_SECONDS_MAX = 95
EARLY_KILLS = 0.15  # share of kills that do not wait for the recovery from the last one


class Pair:
    def __init__(self, command, identifier, rng):
        self.random = rng
        self.server, self.client = (Host(command, side, identifier, rng) for side in ("server", "client"))
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
        killed = [host for host in (self.server, self.client) if who in (host.side, "both")]
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
                raise TimeoutError(
                    f"link {self.server.identifier} did not recover within {RECOVERY_SECONDS_MAX} seconds")
            for host in (self.server, self.client):
                host.check_alive()
            await asyncio.sleep(0.05)
        return time.monotonic() - moment

    async def settle(self):
        """Lets the last texts arrive, then ends both processes."""
        self.server.sending = self.client.sending = False
        await asyncio.sleep(6)  # a batch is repeated after 5 seconds
        for host in (self.server, self.client):
            host.process.kill()
            await host.ended()

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
    unexplained = [(pair, line) for pair in pairs for account in pair.accounts() for line in account.unexplained]
    for pair, line in unexplained:
        print(f"UNEXPLAINED, link {pair.server.identifier}: {line}")
    return not unexplained


async def run(arguments, seed):
    def command(name):
        recording = ["--record", f"{arguments.record}/{name}.jsonl"] if arguments.record else []
        return [arguments.quarn, "rpc", *recording]

    rng = random.Random(seed)
    pairs = [Pair(command, next(IDENTIFIERS), random.Random(rng.random())) for _ in range(arguments.pairs)]
    kills = [arguments.kills // len(pairs) + (i < arguments.kills % len(pairs)) for i in range(len(pairs))]
    await asyncio.gather(*(pair.run(count) for pair, count in zip(pairs, kills)))
    return print_summary(pairs)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("quarn")
    parser.add_argument("--kills", type=int, default=20)
    parser.add_argument("--pairs", type=int, default=20)
    parser.add_argument("--seed", type=int, default=random.randrange(10**6))
    parser.add_argument("--record", metavar="DIR", help="record each process into DIR")
    arguments = parser.parse_args()
    if arguments.kills < 1 or arguments.pairs < 1:
        parser.error("give at least one kill and one pair")
    arguments.pairs = min(arguments.pairs, arguments.kills)
    print(f"seed {arguments.seed}", flush=True)
    began = time.monotonic()
    passed = asyncio.run(run(arguments, arguments.seed))
    print(f"{time.monotonic() - began:.0f} seconds")
    sys.exit(0 if passed else 1)


if __name__ == "__main__":
    main()
