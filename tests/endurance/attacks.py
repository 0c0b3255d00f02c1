#!/usr/bin/env python3
"""Attacks a host over loopback TCP and watches what it costs: its memory, and the texts of its other links.

    attacks.py QUARN [--seconds N] [--links L]

One `quarn rpc` process has L attacked links and a healthy link to a second process. Each attack lasts N seconds. Exit
status 0 if the attacked process grows by less than the limits allow, and the healthy link delivers every text, without a
reconnection and as fast as without an attack.
"""
import argparse
import os
import pathlib
import selectors
import socket
import sys
import time

arguments = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
arguments.add_argument("quarn")
arguments.add_argument("--seconds", type=float, default=120)
arguments.add_argument("--links", type=int, default=100)
options = arguments.parse_args()

os.environ["QUARN"] = options.quarn
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "tool"))
from peer import FIRST_PORT, IDENTIFIERS, frame, message  # noqa: E402
from tool import Rpc  # noqa: E402

MIB = 1024 * 1024
UNHANDLED_MAX = 1.2 * MIB  # of one link: the limit, one fetch and the memory between
SETTLING_SECONDS = 25  # for 6 MiB in the system's buffers, 64 KiB a tick
SLOWEST_TEXT_SECONDS = 3.0  # as long as on a quiet machine: a second until the client asks, and some ticks
QUERY = frame(message(7, b"9QRY", b"9."))
DATA = frame(message(7, b"text of a stranger", b"9CMD", b"9."))
ENDLESS = b"\x02" + b"x" * 65535
LONG_TEXTS = ["y" * 1600] * 20  # one batch, which the host sends to each stranger, and the library repeats


def resident(process):
    """The process's resident memory in bytes."""
    pages = pathlib.Path(f"/proc/{process.pid}/statm").read_text().split()[1]
    return int(pages) * os.sysconf("SC_PAGE_SIZE")


class Strangers:
    """Connections that send the same bytes as fast as they are accepted, and read or do not."""

    def __init__(self, payload, reading, pause):
        self.payload, self.reading, self.pause = payload, reading, pause
        self.selector = selectors.DefaultSelector()
        self.sent, self.connections = 0, 0
        self.last = {}

    def add(self, connection):
        connection.setblocking(False)
        self.connections += 1
        self.last[connection] = 0.0
        events = selectors.EVENT_WRITE | (selectors.EVENT_READ if self.reading else 0)
        self.selector.register(connection, events)

    def drop(self, connection):
        self.selector.unregister(connection)
        connection.close()

    def step(self):
        for key, events in self.selector.select(0.01):
            connection = key.fileobj
            try:
                if events & selectors.EVENT_READ and not connection.recv(65536):
                    raise ConnectionError
                if events & selectors.EVENT_WRITE and time.monotonic() >= self.last[connection] + self.pause:
                    self.last[connection] = time.monotonic()
                    self.sent += connection.send(self.payload)
            except BlockingIOError:
                pass
            except OSError:
                self.drop(connection)

    def close(self):
        for key in list(self.selector.get_map().values()):
            self.drop(key.fileobj)


class Callers(Strangers):
    """Strangers that call server links, and call again when they are dropped."""

    def __init__(self, identifiers, *how):
        super().__init__(*how)
        self.missing = list(identifiers)
        self.identifier = {}

    def drop(self, connection):
        super().drop(connection)
        self.missing.append(self.identifier.pop(connection))

    def step(self):
        for identifier in self.missing[:]:
            try:
                connection = socket.create_connection(("127.0.0.1", FIRST_PORT + identifier), timeout=1)
            except OSError:
                continue
            self.missing.remove(identifier)
            self.identifier[connection] = identifier
            self.add(connection)
        super().step()


class Called(Strangers):
    """Strangers on ports that client links call."""

    def __init__(self, identifiers, *how):
        super().__init__(*how)
        self.listeners = [socket.create_server(("127.0.0.1", FIRST_PORT + identifier)) for identifier in identifiers]
        for listener in self.listeners:
            listener.setblocking(False)

    def step(self):
        for listener in self.listeners:
            try:
                self.add(listener.accept()[0])
            except BlockingIOError:
                pass
        super().step()

    def close(self):
        super().close()
        for listener in self.listeners:
            listener.close()


class HealthyLink:
    """Texts that go both ways between the attacked process and another one, numbered."""

    def __init__(self, ends):
        self.ends = ends
        self.sent, self.slowest = 0, 0.0
        self.waiting = {}  # text -> time at which it was sent
        self.reports = []

    def step(self):
        if not self.waiting:
            self.sent += 1
            for side, end in enumerate(self.ends):
                self.waiting[f"{side} {self.sent}"] = time.monotonic()
                end.Invia(1, f"{side} {self.sent}")
        for end in self.ends:
            while item := end.GetMessaggioArrivato(1):
                if item in self.waiting:
                    self.slowest = max(self.slowest, time.monotonic() - self.waiting.pop(item))
                else:
                    self.reports.append(item)


def take_all(rpc, links, answer=()):
    """Takes all items, and answers each new connection with texts."""
    for link in links:
        while item := rpc.GetMessaggioArrivato(link):
            for text in answer if item.startswith("X000E0701") else ():
                rpc.Invia(link, text)


def settle(attacked, links, healthy):
    end = time.monotonic() + SETTLING_SECONDS
    while time.monotonic() < end:
        healthy.step()
        take_all(attacked, links)
        time.sleep(0.2)


def attack(name, attacked, links, healthy, strangers, most):
    """Runs one attack and prints what it cost. Returns whether that stays within its bounds. Begins when the bytes of the
    attack before it have been fetched."""
    if strangers.payload:
        settle(attacked, links, healthy)
    before, peak = resident(attacked.process), 0
    healthy.slowest, healthy.reports, end = 0.0, [], time.monotonic() + options.seconds
    next_step = 0.0
    while time.monotonic() < end:
        strangers.step()
        if time.monotonic() < next_step:
            continue
        next_step = time.monotonic() + 0.2
        healthy.step()
        take_all(attacked, links, LONG_TEXTS)
        peak = max(peak, resident(attacked.process) - before)
    strangers.close()
    good = peak <= most and healthy.slowest <= SLOWEST_TEXT_SECONDS and not healthy.reports
    print(f"{name:34}{strangers.sent / MIB:10.1f}{strangers.connections:13}{peak / MIB:10.1f}{most / MIB:10.1f}"
          f"{healthy.slowest:12.2f}{len(healthy.reports):9}  {'ok' if good else 'FAILED'}", flush=True)
    return good


def main():
    healthy_id, *attacked_ids = [next(IDENTIFIERS) for _ in range(2 * options.links + 1)]
    servers, clients = attacked_ids[:options.links], attacked_ids[options.links:]
    with Rpc() as attacked, Rpc() as other:
        attacked.Add("TEST", healthy_id, False, True)
        other.Add("TEST", healthy_id, True, True)
        server_links = [attacked.Add("TEST", identifier, False, True) for identifier in servers]
        client_links = [attacked.Add("TEST", identifier, True, True) for identifier in clients]
        for link in [1, *server_links]:
            attacked.Apri(link)
        time.sleep(1.2)
        other.Apri(1)
        healthy = HealthyLink([attacked, other])
        while not (attacked.Connesso(1) and other.Connesso(1)):
            time.sleep(0.2)
        for end in (attacked, other):
            take_all(end, [1])
        print(f"{'attack':34}{'MiB sent':>10}{'connections':>13}{'grew MiB':>10}{'at most':>10}"
              f"{'slowest s':>12}{'reports':>9}")
        flood = options.links * UNHANDLED_MAX + 4 * MIB
        process = 256 * MIB
        results = [
            attack("none", attacked, server_links, healthy, Callers([], b"", True, 0), 4 * MIB),
            attack("a flood of queries", attacked, server_links, healthy,
                   Callers(servers, QUERY * 2000, True, 0), flood),
            attack("queries from peers that never read", attacked, server_links, healthy,
                   Callers(servers, QUERY, False, 0.1), flood),
            attack("frames without an end", attacked, server_links, healthy,
                   Callers(servers, ENDLESS, True, 0), process)]
        for link in client_links:
            attacked.Apri(link)
        results.append(attack("called peers that never acknowledge", attacked, server_links + client_links, healthy,
                              Called(clients, DATA, False, 0.1), flood))
    sys.exit(0 if all(results) else 1)


if __name__ == "__main__":
    main()
