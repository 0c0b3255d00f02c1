#!/usr/bin/env python3
"""Sets the clock of two linked hosts back and forward while they exchange texts, and then kills one of them.

    clock.py QUARN

Needs libfaketime, which shows the processes a clock of their own. Exit status 0 if no step of the clock disturbs the
exchange, the log shows the new local time, and the surviving host reports the loss of its peer in time.
"""
import datetime
import os
import pathlib
import re
import sys
import tempfile
import time

FAKETIME = next(pathlib.Path("/usr/lib").glob("*/faketime/libfaketime.so.1"), None)
if len(sys.argv) != 2 or not FAKETIME:
    sys.exit(__doc__ if FAKETIME else "libfaketime is missing: install the package faketime")
os.environ["QUARN"] = sys.argv[1]
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "tool"))
from peer import IDENTIFIERS  # noqa: E402
from tool import Rpc  # noqa: E402

HOUR = 3600
STEPS = (0, -HOUR, -HOUR - 2, -25 * HOUR, -HOUR)  # of the shown clock from the true one, in seconds
TEXT_SECONDS_MAX = 4.0
LOSS_SECONDS_MAX = 45.0


def set_clock(file, seconds):
    file.write_text(f"{seconds:+d}\n")


def exchange(ends):
    """Sends a text each way and returns the seconds until both have arrived. Reports are failures."""
    start, waiting = time.monotonic(), {"to the server", "to the client"}
    ends[1].Invia(1, "to the server")
    ends[0].Invia(1, "to the client")
    while waiting and time.monotonic() < start + 60:
        for end in ends:
            while item := end.GetMessaggioArrivato(1):
                if item not in waiting:
                    sys.exit(f"unexpected: {item}")
                waiting.remove(item)
        time.sleep(0.1)
    return time.monotonic() - start


def main():
    with tempfile.TemporaryDirectory() as folder:
        clock = pathlib.Path(folder, "clock")
        set_clock(clock, 0)
        os.environ.update(LD_PRELOAD=str(FAKETIME), FAKETIME_TIMESTAMP_FILE=str(clock), FAKETIME_NO_CACHE="1",
                          FAKETIME_DONT_FAKE_MONOTONIC="1", TZ="UTC")
        identifier = next(IDENTIFIERS)
        client = Rpc()  # is killed in the end
        client.Init("")
        with Rpc() as server:
            server.Init(f"{folder}/server-")
            server.AttivaLog()
            for end, is_client in ((server, False), (client, True)):
                end.open("TEST", identifier, is_client)
                time.sleep(1.2)
            server.wait_for(lambda: server.Connesso(1) and client.Connesso(1), seconds=95)
            time.sleep(1)
            for end in (server, client):
                while end.GetMessaggioArrivato(1):
                    pass
            for step in STEPS:
                set_clock(clock, step)
                seconds = exchange([server, client])
                time.sleep(15)  # longer than the keep-alive's period
                print(f"clock {step:+7d} s: texts after {seconds:.1f} s", flush=True)
                if seconds > TEXT_SECONDS_MAX:
                    sys.exit("a text came too late")
            last = next(pathlib.Path(folder).glob("server-*")).read_text().splitlines()[-1]
            shown = datetime.datetime.now(datetime.timezone.utc) + datetime.timedelta(seconds=STEPS[-1])
            print(f"the log shows {last[4:12]}, the clock {shown:%H:%M:%S}")
            if not re.match(rf"001 {shown:%H:}", last) and shown.minute not in (0, 59):
                sys.exit("the log does not show the new time")
            set_clock(clock, -2 * HOUR)
            client.process.kill()
            killed = time.monotonic()
            server.wait_for(lambda: server.GetMessaggioArrivato(1).startswith("X000E0702"), LOSS_SECONDS_MAX)
            print(f"lost peer reported after {time.monotonic() - killed:.1f} s")


if __name__ == "__main__":
    main()
