#!/usr/bin/env python3
"""Calls that cannot work get a clear exception and change nothing in the links."""
import asyncio
import os
import pathlib
import resource
import signal
import subprocess
import sys
import threading
import unittest

import quarnex
from quarnex import Failure, WrongUse

sys.path.insert(0, str(pathlib.Path(__file__).parents[2] / "conformance"))
import conformance  # noqa: E402

QUARN = quarnex.QuarnSocket()
ONE, OTHER = (QUARN.Add(b"ABC", 5, client, False) for client in (True, False))
WRONG_VALUES = [
    (TypeError, 'a text is bytes, not str; convert .* with .*"latin-1"', lambda: QUARN.Invia(ONE, "HELLO")),
    (TypeError, "type is bytes, not str", lambda: QUARN.Add("ABC", 5, True, True)),
    (TypeError, "bytes, not bytearray", lambda: QUARN.send(ONE, bytearray(b"HELLO"))),
    (TypeError, "an int, not float", lambda: QUARN.Apri(1.0)),
    (TypeError, "an int, not NoneType", lambda: QUARN.Connesso(None)),
    (TypeError, "name is bytes, not str; convert a str with os.fsencode", lambda: QUARN.Init("/var/log/")),
    (TypeError, "a bool, not str", lambda: QUARN.Add(b"ABC", 5, "client", True)),
    (TypeError, "missing 2 required", lambda: QUARN.Add(b"ABC", 5)),
    (Failure, r"Overflow \(6\)", lambda: QUARN.Invia(-(2**70), b"HELLO")),
    (Failure, r"\(5\)", lambda: QUARN.set_memory_limits(frame=-1)),
    (Failure, r"\(5\)", lambda: QUARN.allow_callers(ONE, ["127.0.0.1"])),
    (Failure, r"\(5\)", lambda: quarnex.record_flight("/nowhere/links.jsonl")),
    (ValueError, "", lambda: QUARN.turn(float("nan"))),
    (quarnex.Refused, "text: an empty text is not sent", lambda: QUARN.send(ONE, b"")),
    (WrongUse, "between the beginning and the end", lambda: quarnex.Host().call(b"ABC", 5)),
]


EXAMPLE = str(pathlib.Path(__file__).parents[3] / "examples/embed.py")


async def new_host():
    return await quarnex.Host().__aenter__()


class Robustness(unittest.TestCase):
    def tearDown(self):
        self.assertIsNone(QUARN.receive(OTHER))
        QUARN.Invia(ONE, b"HELLO")
        self.assertEqual(QUARN.receive(OTHER), b"HELLO")
        self.assertEqual(QUARN.snapshot(OTHER).index, OTHER)

    def test_a_wrong_value_is_refused(self):
        for kind, words, call in WRONG_VALUES:
            with self.subTest(words), self.assertRaisesRegex(kind, words):
                call()

    def test_a_second_thread_is_refused(self):
        found = []

        def use():
            for call in (quarnex.QuarnSocket, QUARN.close, lambda: QUARN.Apri(ONE), lambda: quarnex.check_text(b"HELLO")):
                try:
                    call()
                except WrongUse as problem:
                    found.append(str(problem))
        thread = threading.Thread(target=use)
        thread.start()
        thread.join()
        self.assertEqual(found, ["all calls of Quarnex come from one thread, the one that made the first call"] * 4)

    def test_a_forked_child_is_refused(self):
        child = os.fork()
        if child == 0:
            try:
                QUARN.Invia(ONE, b"HELLO")
            except WrongUse:
                os._exit(7)
            os._exit(0)
        self.assertEqual(os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]), 7)

    def test_a_closed_or_dropped_handle_leaves_the_links(self):
        with quarnex.QuarnSocket() as quarn:
            quarn.Invia(ONE, b"HELLO")
        quarn.close()
        with self.assertRaisesRegex(WrongUse, "it has been closed"):
            quarn.receive(OTHER)
        self.assertEqual(QUARN.receive(OTHER), b"HELLO")
        before = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss
        for _ in range(5000):
            quarn = quarnex.QuarnSocket()
            quarn.snapshot(ONE)
        self.assertLess(resource.getrusage(resource.RUSAGE_SELF).ru_maxrss - before, 1024, "KiB")

    def test_a_host_survives_the_end_of_its_loop(self):
        loop = asyncio.new_event_loop()
        host = loop.run_until_complete(new_host())
        link = host.link(ONE)
        with self.assertRaisesRegex(WrongUse, "another Host"):
            loop.run_until_complete(new_host())
        loop.close()
        for call in (link.open, link.receive_nowait, lambda: link.post(b"HELLO"), host.events):
            with self.assertRaisesRegex(WrongUse, "the event loop of this Host is closed"):
                call()

        async def go_on():
            async with quarnex.Host() as host:
                receipt = await host.link(ONE).send(b"HELLO")
                waiting = asyncio.ensure_future(host.link(OTHER).receive())
                self.assertEqual((await waiting, receipt.outcome), (b"HELLO", quarnex.Outcome.ACKNOWLEDGED))
                waiting = asyncio.ensure_future(host.link(OTHER).receive())
                await asyncio.sleep(0)
            with self.assertRaisesRegex(WrongUse, "the Host has ended"):
                await waiting
        asyncio.run(go_on())


    def test_a_library_that_does_not_fit_is_named(self):
        for library, module, words in (("nowhere.so", "quarnex", "cannot be loaded: nowhere.so"),
                                       ("libc.so.6", "quarnex", "libc.so.6 is older than this package"),
                                       (os.environ["QUARNEX_LIBRARY"], "quarnex.testing", "to libquarnex_testing.so")):
            environment = {**os.environ, "QUARNEX_LIBRARY": library}
            program = [sys.executable, "-c", f"import {module}"]
            self.assertIn(words, subprocess.run(program, env=environment, stderr=subprocess.PIPE, text=True).stderr)

    def test_a_signal_ends_a_turn(self):
        signal.signal(signal.SIGALRM, lambda *_: sys.exit("alarm"))
        signal.setitimer(signal.ITIMER_REAL, 0.2)
        with self.assertRaisesRegex(SystemExit, "alarm"):
            QUARN.turn(-1)

    def test_the_example_works_over_tcp(self):
        program = f"import asyncio, runpy; asyncio.run(runpy.run_path({EXAMPLE!r})['main']({conformance.free_identifier()}))"
        printed = subprocess.run([sys.executable, "-X", "dev", "-c", program], check=True, capture_output=True, text=True)
        self.assertEqual((printed.stdout, printed.stderr), ("received HELLO\nthe text is acknowledged\n", ""))


unittest.main()
