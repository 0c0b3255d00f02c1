"""Calls a listening `quarn` as fast as possible from an address that may not call, while its peer exchanges texts.

    strangers.py QUARN [--seconds N] [--everybody | --flood queries|damage]

Prints the calls a second, the CPU time of each and what the peer noticed; fails if the peer noticed anything. With
--everybody the strangers may call: then they replace the peer again and again, and nothing fails. With --flood one of them
stays and sends valid queries, or damaged frames of 60,000 bytes, without end; prints the growth of memory, log and
recording.
"""
import argparse
import os
import pathlib
import re
import select
import socket
import subprocess
import sys
import tempfile
import threading
import time

TYPE, IDENTIFIER, PORT = "TEST", "77", 20177
STRANGER = "127.0.0.2"
TEXTS_A_SECOND = 2

options = argparse.ArgumentParser()
options.add_argument("quarn")
options.add_argument("--seconds", type=int, default=20)
options.add_argument("--everybody", action="store_true")
options.add_argument("--flood", choices=("queries", "damage"))
options = options.parse_args()


def start(command, *arguments):
    process = subprocess.Popen([options.quarn, command, TYPE, IDENTIFIER, *arguments], stdin=subprocess.PIPE,
                               stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    process.messages = []
    threading.Thread(target=lambda: process.messages.extend(process.stderr), daemon=True).start()
    return process


def await_message(process, words):
    end = time.monotonic() + 40
    while not any(words in line for line in process.messages):
        if time.monotonic() > end:
            sys.exit(f"no message contains {words!r}: {process.messages}")
        time.sleep(0.1)


def use_of(process):
    """CPU seconds so far, and KiB of memory."""
    fields = open(f"/proc/{process.pid}/stat").read().rsplit(")", 1)[1].split()
    resident = int(re.search(r"VmRSS:\s+(\d+)", open(f"/proc/{process.pid}/status").read())[1])
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK"), resident


def call_until(end):
    calls = 0
    while time.monotonic() < end:
        with socket.socket() as stranger:
            stranger.bind((STRANGER, 0))
            try:
                stranger.connect(("127.0.0.1", PORT))
                calls += 1
            except ConnectionError:
                pass
    return calls


def flood():
    """One caller that may call sends frames as fast as the server takes them."""
    query = b"\x0299990000772|9QRY|9.|"
    k = 0
    for byte in query[1:]:
        k ^= byte
    frames = (query + bytes([64 + k // 16, 64 + k % 16]) + b"\3") * 4000
    if options.flood == "damage":
        frames = b"\x029999" + bytes([1]) * 60_000 + b"@@\3"
    with tempfile.TemporaryDirectory() as folder:
        process = start("listen", "--log", f"{folder}/log", "--record", f"{folder}/recording")
        await_message(process, "listening on")
        before, memory = use_of(process)
        with socket.create_connection(("127.0.0.1", PORT)) as stranger:
            stranger.setblocking(False)
            end, sent = time.monotonic() + options.seconds, 0
            while time.monotonic() < end:
                readable, writable, _ = select.select([stranger], [stranger], [], 1)
                if readable:
                    stranger.recv(65536)
                if writable:
                    sent += stranger.send(frames)
            after, memory_after = use_of(process)
            sizes = {path.name[:3]: path.stat().st_size // options.seconds // 1000 for path in pathlib.Path(folder).iterdir()}
        process.kill()
    print(f"{sent // 1000} KB sent in {options.seconds} s; memory grew by {memory_after - memory} KiB; "
          f"{100 * (after - before) / options.seconds:.1f} % of a CPU; log {sizes['log']} KB a second, recording {sizes['rec']}")


if options.flood:
    flood()
    sys.exit(0)
server = start("listen", "--listen-on", "127.0.0.1", *([] if options.everybody else ["--allow", "127.0.0.1"]))
client = start("call")
await_message(client, "connected to")
time.sleep(1)  # both have printed their messages about the connection
seen = [len(server.messages), len(client.messages)]
before, memory = use_of(server)
counts = []
attack = threading.Thread(target=lambda: counts.append(call_until(time.monotonic() + options.seconds)))
attack.start()
sent = 0
while attack.is_alive():
    client.stdin.write(f"text {sent}\n")
    client.stdin.flush()
    sent += 1
    time.sleep(1 / TEXTS_A_SECOND)
after, memory_after = use_of(server)
print(f"{counts[0] / options.seconds:.0f} calls a second for {options.seconds} s; "
      f"{1e6 * (after - before) / max(1, counts[0]):.0f} us of CPU time each; memory grew by {memory_after - memory} KiB")
noticed = server.messages[seen[0]:] + client.messages[seen[1]:]
client.stdin.close()
client.wait(60)
server.send_signal(2)
received = server.stdout.read().splitlines()
server.wait(60)
print(f"{len(received)} of {sent} texts arrived; messages meanwhile: {len(noticed)}; {server.messages[-1].strip()}")
sys.exit(0 if options.everybody or (received == [f'text {i}' for i in range(sent)] and not noticed) else 1)
