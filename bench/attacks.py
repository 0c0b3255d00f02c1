#!/usr/bin/env python3
"""Attacks hosts over loopback TCP and prints what the attacks cost.

    attacks.py QUARN limits [--seconds N] [--links L]
    attacks.py QUARN refused|replaced|queries|damage [--seconds N]

limits    One `quarn rpc` process has L attacked links and a healthy link to a second process. Each attack lasts N seconds.
          Fails if the attacked process grows beyond its limits, or if the healthy link delivers a text late, loses one or
          reconnects.
refused   Calls a listening `quarn` as fast as possible from an address that may not call, while its peer exchanges texts.
          Fails if the peer notices anything.
replaced  The same from an address that may call, so that each caller replaces the peer. Nothing fails.
queries   One caller sends valid queries without end to a listening `quarn` that writes a log and a recording.
damage    The same with damaged frames of 60,000 bytes.
"""
import argparse
import os
import pathlib
import selectors
import socket
import sys
import tempfile
import threading
import time

arguments = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
arguments.add_argument("quarn")
arguments.add_argument("attack", choices=("limits", "refused", "replaced", "queries", "damage"))
arguments.add_argument("--seconds", type=float, default=20)
arguments.add_argument("--links", type=int, default=100)
options = arguments.parse_args()

os.environ["QUARN"] = options.quarn
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "tests" / "tool"))
from peer import FIRST_PORT, IDENTIFIERS, frame, message  # noqa: E402
from tool import Rpc, Session  # noqa: E402

MIB = 1024 * 1024
UNHANDLED_MAX = 1.2 * MIB  # of one link: the limit, one fetch and the memory between
SETTLING_SECONDS = 25  # for 6 MiB in the system's buffers, 64 KiB a tick
SLOWEST_TEXT_SECONDS = 3.0  # as long as on a quiet machine: a second until the client asks, and some ticks
TEXTS_A_SECOND = 2
QUERY = frame(message(7, b"9QRY", b"9."))
DATA = frame(message(7, b"text of a stranger", b"9CMD", b"9."))
DAMAGED = b"\x029999" + bytes([1]) * 60_000 + b"@@\x03"
ENDLESS = b"\x02" + b"x" * 65535
LONG_TEXTS = ["y" * 1600] * 20  # one batch, which the host sends to each stranger, and the library repeats


def resident(process):
    """The process's resident memory in bytes."""
    pages = pathlib.Path(f"/proc/{process.pid}/statm").read_text().split()[1]
    return int(pages) * os.sysconf("SC_PAGE_SIZE")


def cpu_seconds(process):
    fields = pathlib.Path(f"/proc/{process.pid}/stat").read_text().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


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


def attack_limits():
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
    return all(results)


class WatchedSession(Session):
    """Collects its messages while it runs."""

    def __init__(self, *how):
        super().__init__(*how)
        self.messages = []
        threading.Thread(target=lambda: self.messages.extend(self.process.stderr), daemon=True).start()

    def await_message(self, words):
        end = time.monotonic() + 40
        while not any(words in line for line in self.messages):
            if time.monotonic() > end:
                sys.exit(f"no message contains {words!r}: {self.messages}")
            time.sleep(0.1)


def call_until(end, port, counts):
    calls = 0
    while time.monotonic() < end:
        with socket.socket() as stranger:
            stranger.bind(("127.0.0.2", 0))
            try:
                stranger.connect(("127.0.0.1", port))
                calls += 1
            except ConnectionError:
                pass
    counts.append(calls)


def call_without_pause(*server_options):
    """Returns whether the server's peer delivered every text and noticed nothing."""
    identifier, counts, sent = next(IDENTIFIERS), [], []
    server = WatchedSession("listen", identifier, "--listen-on", "127.0.0.1", *server_options)
    client = WatchedSession("call", identifier)
    client.await_message(b"connected to")
    time.sleep(1)  # both have printed their messages about the connection
    seen = [len(server.messages), len(client.messages)]
    before, memory = cpu_seconds(server.process), resident(server.process)
    calling = threading.Thread(target=call_until,
                               args=(time.monotonic() + options.seconds, FIRST_PORT + identifier, counts))
    calling.start()
    while calling.is_alive():
        sent.append(b"text %d" % len(sent))
        client.write(sent[-1])
        time.sleep(1 / TEXTS_A_SECOND)
    cost = 1e6 * (cpu_seconds(server.process) - before) / max(1, counts[0])
    print(f"{counts[0] / options.seconds:.0f} calls a second for {options.seconds:.0f} s; {cost:.0f} us of CPU time each; "
          f"memory grew by {(resident(server.process) - memory) // 1024} KiB")
    noticed = server.messages[seen[0]:] + client.messages[seen[1]:]
    client.process.stdin.close()
    client.process.wait(60)
    server.process.send_signal(2)
    received = server.process.stdout.read().splitlines()
    server.process.wait(60)
    print(f"{len(received)} of {len(sent)} texts arrived; messages meanwhile: {len(noticed)}; "
          f"{server.messages[-1].decode().strip()}")
    return received == sent and not noticed


def flood(payload):
    """Sends the bytes as fast as a server takes them that writes a log and a recording."""
    identifier = next(IDENTIFIERS)
    with tempfile.TemporaryDirectory() as folder:
        server = WatchedSession("listen", identifier, "--log", f"{folder}/log", "--record", f"{folder}/recording")
        server.await_message(b"listening on")
        before, memory = cpu_seconds(server.process), resident(server.process)
        stranger, end = Callers([identifier], payload, True, 0), time.monotonic() + options.seconds
        while time.monotonic() < end:
            stranger.step()
        cpu = 100 * (cpu_seconds(server.process) - before) / options.seconds
        growth = (resident(server.process) - memory) // 1024
        written = {path.name[:3]: path.stat().st_size / options.seconds / 1000 for path in pathlib.Path(folder).iterdir()}
        server.process.kill()
    print(f"{stranger.sent // 1000} KB sent in {options.seconds:.0f} s; memory grew by {growth} KiB; {cpu:.1f} % of a CPU; "
          f"log {written['log']:.0f} KB a second, recording {written['rec']:.0f}")


def main():
    if options.attack == "limits":
        return attack_limits()
    if options.attack == "refused":
        return call_without_pause("--allow", "127.0.0.1")
    if options.attack == "replaced":
        call_without_pause()
    else:
        flood(QUERY * 4000 if options.attack == "queries" else DAMAGED)
    return True


if __name__ == "__main__":
    sys.exit(0 if main() else 1)
