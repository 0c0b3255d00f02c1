#!/usr/bin/env python3
"""Coroutines of two hosts exchange texts, under faults and in virtual time."""
import asyncio
import contextlib
import io
import tempfile
import time
import unittest

import quarnex
from quarnex import Cause, Outcome, events, testing

HALF_SENT = (Outcome.UNKNOWN, Cause.RECONNECTION)


def fate(receipt):
    return receipt.outcome, receipt.cause


class Station:
    """A host: its coroutine opens a link and keeps received texts and events."""

    def __init__(self, site, name):
        self.received, self.events = [], []
        self.host = site.add(name, lambda: self.run(client=name == "meteo"))

    async def run(self, client):
        async with quarnex.Host() as self.quarnex:
            add = self.quarnex.call if client else self.quarnex.listen
            self.link = add(b"METEO", 7)
            watching = asyncio.create_task(self.watch(self.link.events()))
            async with self.link:
                async for text in self.link:
                    self.received.append(text)
        await watching

    async def watch(self, stream):
        async for event in stream:
            self.events.append(event)

    def do(self, coroutine):
        """Starts a coroutine in the loop of the host."""
        return self.host.inside(lambda: self.host.loop.create_task(coroutine))


class VirtualTime(unittest.TestCase):
    def simulate(self, test):
        def run(site):
            stations = [Station(site, name) for name in ("tower", "meteo")]
            site.settle()
            test(site, *stations)
        with tempfile.TemporaryDirectory() as folder:
            testing.simulate(run, twice=True, recordings=folder)

    def test_each_text_gets_its_receipt_and_the_iteration_ends_with_the_link(self):
        def test(site, tower, meteo):
            sending = [meteo.do(meteo.link.send(b"%d knots" % i)) for i in range(30)]
            cancelled = meteo.do(meteo.link.send(b"cancelled"))
            site.run_until(lambda: tower.received, 10)
            meteo.host.inside(cancelled.cancel)
            draining = meteo.do(meteo.link.drain_and_close(30))
            site.run_until(lambda: draining.done() and not tower.link.is_connected, 60)
            self.assertEqual({fate(each.result()) for each in sending}, {(Outcome.ACKNOWLEDGED, Cause.NONE)})
            self.assertTrue(cancelled.cancelled())
            self.assertEqual(tower.received, [b"%d knots" % i for i in range(30)] + [b"cancelled"])
            self.assertFalse(draining.result().timed_out)
            self.assertEqual({fate(each) for each in draining.result().receipts}, {(Outcome.ACKNOWLEDGED, Cause.NONE)})
            refused = meteo.do(meteo.link.send(b"late"))
            with self.assertRaises(testing.TestFailed):
                site.run_until(lambda: False, within=1)
            self.assertEqual(meteo.events[-1].type, quarnex.EventType.CLOSED)
            self.assertIsInstance(refused.exception(), quarnex.WrongUse)
        self.simulate(test)

    def test_a_cut_connection_and_an_overflow_are_answers(self):
        def test(site, tower, meteo):
            with site.silence(tower.host, meteo.host):
                sent = meteo.do(meteo.link.send(b"in a frame"))
                site.run(1)
                queued = [meteo.do(meteo.link.send(b"%d queued" % i)) for i in range(5001)]
                site.run(1)
                self.assertEqual(fate(queued[0].result()), (Outcome.DROPPED, Cause.QUEUE_FULL))
                site.run(60)
            site.settle()
            self.assertEqual(fate(sent.result()), HALF_SENT)
            self.assertEqual(fate(queued[-1].result()), (Outcome.DROPPED, Cause.RECONNECTION))
            self.assertEqual(meteo.link.outages()[-1].reason.kind, quarnex.FailureKind.KEEP_ALIVE_TIMEOUT)
            lost = [event for event in meteo.events if isinstance(event, events.Disconnected)]
            self.assertEqual([event.reason.kind.value for event in lost], ["keep-alive-timeout"])
            self.assertIn("no message", meteo.host.inside(lambda: quarnex.in_words(lost[0].reason)))
        self.simulate(test)

    def test_a_killed_host_starts_again_with_fresh_handles(self):
        def test(site, tower, meteo):
            link = tower.link
            tower.host.make_folder(b"/log")
            tower.quarnex.quarn.Init(b"/log/")
            tower.quarnex.quarn.AttivaLog()
            log = time.strftime("/log/LOGQUARNNET%d%m%Y%H%M%S.txt", time.gmtime(site.now())).encode()
            site.run(20)
            tower.host.kill()
            with self.assertRaises(quarnex.WrongUse):
                link.post(b"dead")
            waiting = meteo.do(meteo.link.connected())
            site.run(30)
            self.assertRegex(tower.host.file(log), rb"^001 00:00:\d\d \w+")
            tower.host.start()
            site.run_until(waiting.done, 120)
            site.settle()
            site.nothing_more_happens()
            with self.assertRaisesRegex(quarnex.WrongUse, "another Host"):
                tower.host.inside(lambda: tower.host.loop.run_until_complete(quarnex.Host().__aenter__()))
        self.simulate(test)

    def test_rare_outcomes_leave_no_answer_out(self):
        acknowledged = []

        async def sends_again(link):
            while len(acknowledged) < 5:
                await link.connected()
                with contextlib.suppress(quarnex.Refused):
                    receipt = await link.send(b"text %d" % len(acknowledged))
                    acknowledged.extend([receipt] * (receipt.outcome == Outcome.ACKNOWLEDGED))

        def test(site):
            acknowledged.clear()
            Station(site, "tower")
            meteo = Station(site, "meteo")
            sending = meteo.do(sends_again(meteo.link))
            site.run_until(sending.done, 3600)
            draining = meteo.do(meteo.link.drain_and_close())
            site.run_until(draining.done, 60)
        with tempfile.TemporaryDirectory() as folder:
            testing.simulate(test, rare_runs=20, recordings=folder)

    def test_an_exception_of_the_code_ends_the_test(self):
        for make in (lambda: 1 / 0, lambda: asyncio.sleep(1, 1 / 0)):
            with self.assertRaises(ZeroDivisionError), contextlib.redirect_stderr(io.StringIO()):
                self.simulate(lambda site, tower, meteo: site.add("third", make))


unittest.main()
