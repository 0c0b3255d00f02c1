"""Tests links over real TCP. Every link waits 10 seconds before it calls or listens, so all scenarios run at once."""

import concurrent.futures
import json
import os
import pty
import signal
import socket
import subprocess
import tempfile
import time
import unittest

from peer import FIRST_PORT, IDENTIFIERS, Peer
from tool import Rpc, Session, run

CHECK = unittest.TestCase()
ALL_BYTES = bytes(code for code in range(256) if code not in b"\x03|")


def accepted_call(identifier, *options, **how):
    """Returns a `quarn call`, and its peer after the first query."""
    with Peer.listen(identifier) as listener:
        session = Session("call", identifier, *options, **how)
        peer = Peer.accept(listener, identifier)
    peer.expect(b"9QRY", b"9.")
    return session, peer


def messages_at_end(session, status=0):
    ended, _, messages = session.finish()
    CHECK.assertEqual(status, ended, messages)
    return messages


def client_exchanges_the_exact_bytes(identifier):
    with Peer.listen(identifier) as listener, Rpc() as rpc:
        link = rpc.open("TEST", identifier, client=True)
        rpc.Invia(link, "HELLO")
        rpc.Invia(link, ALL_BYTES.decode("latin-1"))
        peer = Peer.accept(listener, identifier)
        peer.expect(b"HELLO", ALL_BYTES, b"9CMD", b"9.")
        peer.send(b"9ACK", b"9.")
        peer.expect(b"9QRY", b"9.")
        peer.send(ALL_BYTES, b"x", b"9VER1", b"9own", b"9CMD", b"9.")
        peer.expect(b"9ACK", b"9QRY", b"9.")
        peer.send(b"9NODATA", b"9.")
        connected = f"X000E0701[#I{identifier}#$TTEST$$S127.0.0.1:{FIRST_PORT + identifier}$]"
        CHECK.assertEqual([connected, ALL_BYTES.decode("latin-1"), "9own"], rpc.items(link, 3))
        rpc.Uscita()
        peer.answer_queries_until(b"9K", b"9CMD", b"9.")
        CHECK.assertEqual(0, rpc.ProntoPerUscire())
        peer.send(b"9ACK", b"9.")
        peer.connection.close()
        rpc.wait_for(lambda: rpc.ProntoPerUscire() == -1)


def server_exchanges_the_exact_bytes(identifier):
    with Rpc() as rpc:
        link = rpc.open("TEST", identifier, client=False)
        peer = Peer.call(identifier)
        rpc.wait_for(lambda: rpc.Connesso(link))
        texts = [b"text %d" % i for i in range(21)]
        for text in texts:
            rpc.Invia(link, text.decode())
        peer.send(b"9!", b"AB", b"9CMD", b"9.")
        peer.expect(b"9ACK", b"9.")
        for _ in range(2):  # the server repeats a batch until it is acknowledged
            peer.send(b"9QRY", b"9.")
            peer.expect(*texts[:20], b"9CMD", b"9.")
        peer.send(b"9ACK", b"9QRY", b"9.")
        peer.expect(texts[20], b"9OKAY000", b"9CMD", b"9.")
        peer.send(b"9ACK", b"9QRY", b"9.")
        peer.expect(b"9NODATA", b"9.")
        peer.send(b"9K", b"9.")
        peer.expect_close()
        CHECK.assertEqual([f"X000E0702[#I{identifier}#$TTEST$]"], rpc.items(link, 1))


def events_and_receipts_reach_a_subscriber(identifier):
    with Rpc() as rpc:
        links = [rpc.Add("TEST", identifier, client, True) for client in (False, True)]
        for link in links:
            rpc.enableEvents(link, True)
            rpc.Apri(link)
        rpc.subscribe(True)
        server, client = links
        rpc.wait_for(lambda: rpc.Connesso(server) and rpc.Connesso(client))
        CHECK.assertEqual({"number": 1}, rpc.send(client, "HELLO"))
        rpc.wait_for(lambda: rpc.receive(server) == "HELLO")
        rpc.drainAndLeave(9)
        CHECK.assertEqual({"number": 0, "refusal": "draining"}, rpc.send(client, "late"))
        rpc.wait_for(lambda: rpc.ProntoPerUscire() == -1)
        own = [event for event in rpc.events if event["link"] == client]
        CHECK.assertEqual(["connected", "heard", "receipts", "closing", "disconnected", "drained", "closed"],
                          [event["type"] for event in own])
        CHECK.assertEqual({"from": 1, "to": 1, "outcome": "acknowledged", "cause": "", "frames": 1, "connection": 1},
                          own[2]["receipt"])
        CHECK.assertEqual({"acknowledged": 1, "dropped": {}, "unknown": {}}, rpc.snapshot(client)["outcomes"])


def sessions_exchange_lines_and_their_recordings_replay(identifier):
    with tempfile.TemporaryDirectory() as directory:
        recordings = f"{directory}/server", f"{directory}/client.gz"
        server = Session("listen", identifier, "--record", recordings[0])
        client = Session("call", identifier, "--trace", "--record", recordings[1])
        up, down = [b"up %d" % i for i in range(45)], [b"down %d" % i for i in range(45)]
        client.write(*up)
        server.write(*down)
        CHECK.assertEqual(up, server.read(45))
        CHECK.assertEqual(down, client.read(45))
        messages = messages_at_end(client)
        CHECK.assertIn(b"done: 45 lines acknowledged, 45 texts received", messages)
        CHECK.assertIn(b"| CHIAMO ETH %d TEST %d 127.0.0.1" % (identifier, FIRST_PORT + identifier), messages)
        server.await_message(b"the peer asked to close")
        server.process.send_signal(signal.SIGINT)
        server.await_message(b"done: 45 lines acknowledged, 45 texts received")
        messages_at_end(server)
        replay = run("replay", *recordings)
        CHECK.assertEqual((0, 2), (replay.returncode, replay.stdout.count(b": no difference: ")), replay)


def losses_are_reported(identifier):
    with Peer.listen(identifier) as listener:
        session = Session("call", identifier, "--wait", "3", "--trace")
        session.await_message(b"| ATTIVATO SOCKET CLIENT")
        session.write(b"first", b"second", b"A|BB", b"third")
        peer = Peer.accept(listener, identifier)
        peer.expect(b"first", b"second", b"9CMD", b"9.")
        peer.send(b"9ACK", b"9.")
        peer.expect(b"A|BB", b"9CMD", b"9.")  # alone: a text that the peer splits must not displace others
        session.await_message(b"connected to 127.0.0.1:%d" % (FIRST_PORT + identifier))
        peer.send(b"9K", b"9.")
        session.await_message(b"line 3: cannot arrive intact (unknown: content, in 1 frame)")
        messages = messages_at_end(session, 24)
        CHECK.assertIn(b"line 4: did not arrive (dropped: reconnection)", messages)
        CHECK.assertIn(b"not done (status 24, unknown): 2 lines acknowledged, 1 line dropped, 1 line unknown, 0 texts", messages)


def dropped_lines_are_sent_again_on_request(identifier):
    """A line that was in a frame may then arrive twice."""
    session = Session("listen", identifier, "--resend")
    session.write(b"first", b"second")
    peer = Peer.call(identifier)
    session.await_message(b" connected to ")
    time.sleep(1)
    peer.send(b"9K", b"9.")
    session.await_message(b" lines 1 to 2: sent again (dropped: reconnection)")
    peer = Peer.call(identifier)
    peer.send(b"9QRY", b"9.")
    peer.expect(b"first", b"second", b"9CMD", b"9.")
    session.await_message(b" outage 1, ")
    peer.send(b"9K", b"9.")
    session.await_message(b" lines 1 to 2: sent again, may arrive twice (unknown: reconnection, in 1 frame)")
    peer = Peer.call(identifier)
    peer.send(b"9QRY", b"9.")
    peer.expect(b"first", b"second", b"9CMD", b"9.")
    peer.send(b"9ACK", b"9.")
    session.process.send_signal(signal.SIGINT)
    time.sleep(2)
    peer.send(b"9K", b"9.")
    CHECK.assertIn(b"done: 2 lines acknowledged, 4 lines sent again, 0 texts", messages_at_end(session))


def callers_are_named(identifier):
    session = Session("listen", identifier)
    session.write(b"never in a frame")
    callers = Peer.call(identifier), None
    session.await_message(b"connected to 127.0.0.1:%d, caller %s" % (FIRST_PORT + identifier, callers[0].name()))
    callers = callers[0], Peer.call(identifier)
    session.await_message(b"caller %s, a new caller replaced the previous one, %s" % (callers[1].name(), callers[0].name()))
    callers[1].send(b"9K", b"9.")
    session.await_message(b"line 1: did not arrive (dropped: reconnection)")
    CHECK.assertIn(b"not done (status 22, dropped): 0 lines acknowledged, 1 line dropped, ", messages_at_end(session, 22))


def texts_in_the_form_of_reports_are_printed_as_texts(identifier):
    forged = b"X000E0702[#I%d#$TTEST$]09300518112026" % identifier
    session, peer = accepted_call(identifier, "--raw")
    peer.send(forged, b"9CMD", b"9.")
    CHECK.assertEqual([forged], session.read(1))
    peer.expect(b"9ACK", b"9QRY", b"9.")
    peer.send(b"9K", b"9.")  # the first disconnection
    messages = messages_at_end(session)
    CHECK.assertEqual(1, messages.count(b": disconnected\n") + messages.count(b" disconnected\n"), messages)
    CHECK.assertNotIn(forged, messages)
    CHECK.assertIn(b"1 text received", messages)


def terminals_and_messages_show_no_control_character(identifier, locale="C.UTF-8", others="\u00c8\u65e5".encode()):
    escaped = "\u0080\u009b\u202e".encode()
    shown = b"".join(b"%c" % code if 32 <= code < 127 else b"\\x%02X" % code for code in ALL_BYTES + escaped) + others
    reader, terminal = pty.openpty()
    session, peer = accepted_call(identifier, "--trace", stdout=terminal, locale=locale)
    peer.send(ALL_BYTES + escaped + "\u00c8\u65e5".encode(), b"9CMD", b"9.")
    peer.expect(b"9ACK", b"9QRY", b"9.")
    CHECK.assertEqual(shown + b"\r\n", b"".join(iter(lambda: os.read(reader, 1), b"\n")) + b"\n")
    peer.send(b"9K", b"9.")
    messages = messages_at_end(session)
    CHECK.assertIn(b"X:" + shown, messages)
    CHECK.assertTrue(all(line.isprintable() for line in messages.decode().splitlines()), messages)


def terminals_without_utf8_show_only_ascii(identifier):
    terminals_and_messages_show_no_control_character(identifier, "C", b"\\xC3\\x88\\xE6\\x97\\xA5")


def output_that_is_not_read_does_not_delay_the_end(identifier, *options):
    session, peer = accepted_call(identifier, "--wait", "2", *options)
    for _ in range(4):  # more than a pipe holds
        peer.send(b"T" * 30_000, b"9CMD", b"9.")
        peer.expect(b"9ACK", b"9QRY", b"9.")
    peer.send(b"9NODATA", b"9.")
    session.process.stdin.close()
    peer.answer_queries_until(b"9K", b"9CMD", b"9.")
    peer.send(b"9ACK", b"9.")
    peer.connection.close()
    CHECK.assertEqual(3, session.process.wait(10))
    return session.process.stderr.read()


def output_that_is_not_read_is_reported_before_the_summary(identifier):
    messages = output_that_is_not_read_does_not_delay_the_end(identifier)
    CHECK.assertRegex(messages, rb" \d+ bytes not written; text 2 of 4 is the last one written\n.* not done \(status 3, output\): 0 lines acknowledged, "
                      rb"4 texts received\n$")


def output_that_stays_full_closes_the_link_until_it_is_read(identifier):
    with Peer.listen(identifier) as listener:
        texts = [b"T" * 32_700]
        session = Session("call", identifier)
        peer = Peer.accept(listener, identifier)
        peer.expect(b"9QRY", b"9.")
        peer.send(*texts, b"9CMD", b"9.")
        sent = 1 + peer.answer_queries_until(b"9K", b"9CMD", b"9.", b"9ACK", query=(b"9ACK", b"9QRY", b"9."),
                                             answer=(*texts, b"9CMD", b"9."))
        peer.connection.close()
        session.await_message(b"is the last one written; closing the link, so that it acknowledges no further texts")
        left = sent * len(texts[0] + b"\n")
        while left > 0:
            left -= len(os.read(session.process.stdout.fileno(), left))
        session.await_message(b"standard output is read again: opening the link")
        peer = Peer.accept(listener, identifier)
    peer.expect(b"9QRY", b"9.")
    peer.send(b"9K", b"9.")
    CHECK.assertIn(b"done: 0 lines acknowledged, %d texts received" % sent, messages_at_end(session))


def messages_that_are_not_read_do_not_delay_the_end_either(identifier):
    output_that_is_not_read_does_not_delay_the_end(identifier, "--trace")


def only_allowed_callers_reach_a_listener(identifier):
    session = Session("listen", identifier, "--listen-on", "127.0.0.1", "--allow", "192.0.2.1", "--allow", "127.0.0.9")
    with CHECK.assertRaises(ConnectionResetError):
        Peer.call(identifier).connection.recv(1)
    session.process.send_signal(signal.SIGINT)
    messages = messages_at_end(session)
    CHECK.assertNotIn(b"connected to", messages)
    CHECK.assertIn(b"0 texts received, 1 caller refused", messages)


def signals_end_a_session(identifier):
    with Peer.listen(identifier) as listener:
        session = Session("call", identifier)
        session.write(b"never acknowledged")
        peer = Peer.accept(listener, identifier)
        peer.expect(b"never acknowledged", b"9CMD", b"9.")
        session.process.send_signal(signal.SIGHUP)
        session.await_message(b"closing; a second Ctrl-C ends the program at once")
        session.process.send_signal(signal.SIGINT)
        messages_at_end(session, 130)


def broken_output_closes_the_link(identifier):
    session, peer = accepted_call(identifier)
    session.process.stdout.close()
    peer.send(b"nobody reads this", b"9CMD", b"9.")
    peer.expect(b"9ACK", b"9QRY", b"9.")
    peer.send(b"9NODATA", b"9.")
    session.await_message(b"standard output: Broken pipe")
    peer.answer_queries_until(b"9K", b"9CMD", b"9.")
    peer.connection.close()
    CHECK.assertIn(b"not done (status 3, output): 0 lines acknowledged, 1 text received", messages_at_end(session, 3))


def an_answer_ends_a_question(identifier):
    with Peer.listen(identifier) as listener:
        session = Session("call", identifier, "--message", "\u00e8|9K", "--count", "3", "--timeout", "80", "--encode",
                          "--decode", "--json", "--quiet")
        peer = Peer.accept(listener, identifier)
    peer.expect("~:\u00e8~!9K".encode(), b"9CMD", b"9.")
    peer.send(b"9ACK", b"9.")
    peer.expect(b"9QRY", b"9.")
    peer.send(b"~:\xff~~", b"\xc3\xa8\x1b", b"~:~z", b"beyond", b"9CMD", b"9.")
    peer.expect(b"9ACK", b"9QRY", b"9.")
    peer.answer_queries_until(b"9K", b"9CMD", b"9.")
    peer.send(b"9ACK", b"9.")
    peer.connection.close()
    status, output, messages = session.finish()
    lines = [json.loads(line) for line in output.splitlines()]
    CHECK.assertLessEqual({"connected", "heard", "closed"}, {line["type"] for line in lines})
    receipts = [(line["receipt"]["outcome"], line["lines"]) for line in lines if line["type"] == "receipts"]
    CHECK.assertEqual([("acknowledged", {"first": 1, "last": 1, "count": 1})], receipts)
    texts = [(line["text"], line.get("encoding")) for line in lines if line["type"] == "text"]
    CHECK.assertEqual([("\u00ff~", "bytes"), ("\u00e8\x1b", None), ("~:~z", None)], texts)
    CHECK.assertEqual([False], [line["decoded"] for line in lines if "decoded" in line])
    CHECK.assertLessEqual({"type": "end", "status": 0, "cause": "done", "acknowledged": 1, "received": 3,
                           "written": 3}.items(), lines[-1].items())
    CHECK.assertEqual((0, b""), (status, messages))


def a_peer_that_leaves_ends_a_session(identifier):
    session, peer = accepted_call(identifier, "--receive-only", "--once", stdin=subprocess.DEVNULL)
    peer.connection.close()
    CHECK.assertIn(b"not done (status 14, link-lost): ", messages_at_end(session, 14))


def refused_calls_end_a_session(identifier):
    CHECK.assertIn(b"not done (status 12, call-refused): ",
                   run("call", "TEST", str(identifier), "--message", "AB", "--resend", "--timeout", "17").stderr)


def session_with_one_text(identifier, *options):
    with Peer.listen(identifier) as listener:
        session = Session("call", identifier, *options, stdin=subprocess.DEVNULL)
        peer = Peer.accept(listener, identifier)
    peer.expect(b"9QRY", b"9.")
    peer.send(b"first", b"9CMD", b"9.")
    CHECK.assertEqual([b"first"], session.read(1))
    peer.expect(b"9ACK", b"9QRY", b"9.")
    peer.send(b"9NODATA", b"9.")
    return session, peer


def missing_texts_end_a_session(identifier):
    session, peer = session_with_one_text(identifier, "--count", "2", "--timeout", "17")
    peer.answer_queries_until(b"9K", b"9CMD", b"9.")
    peer.connection.close()
    CHECK.assertIn(b"not done (status 30, timeout): ", messages_at_end(session, 30))


def a_signal_ends_a_session_before_its_count(identifier):
    session, peer = session_with_one_text(identifier, "--count", "2")
    session.process.send_signal(signal.SIGTERM)
    peer.answer_queries_until(b"9K", b"9CMD", b"9.")
    peer.connection.close()
    CHECK.assertIn(b"not done (status 34, count-not-reached): ", messages_at_end(session, 34))


def a_peer_that_does_not_close_is_reported(identifier):
    session, _peer = session_with_one_text(identifier, "--count", "1", "--wait", "2")
    CHECK.assertIn(b"not done (status 36, not-closed): ", messages_at_end(session, 36))


def silence_ends_a_session(identifier):
    session, peer = accepted_call(identifier, "--receive-only", "--timeout", "17")
    peer.send(b"9NODATA", b"9.")
    peer.answer_queries_until(b"9K", b"9CMD", b"9.")
    peer.connection.close()
    CHECK.assertIn(b"not done (status 32, nothing-received): ", messages_at_end(session, 32))


def a_service_manager_is_notified(identifier):
    with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as manager:
        manager.bind(f"\0quarn-{identifier}")
        manager.settimeout(10)
        session = Session("listen", identifier, "--receive-only", stdin=subprocess.DEVNULL,
                          NOTIFY_SOCKET=f"@quarn-{identifier}", WATCHDOG_USEC="800000")
        messages = [manager.recv(1000) for _ in range(5)]
        CHECK.assertEqual((b"READY=1", 3), (messages[0], messages.count(b"WATCHDOG=1")))
        CHECK.assertRegex(messages[1], b"^STATUS=down since .*: not connected yet; listens again at ")
        session.process.send_signal(signal.SIGTERM)
        while manager.recv(1000) != b"STOPPING=1":
            pass
        messages_at_end(session)


SCENARIOS = [client_exchanges_the_exact_bytes, server_exchanges_the_exact_bytes,
             events_and_receipts_reach_a_subscriber,
             sessions_exchange_lines_and_their_recordings_replay, losses_are_reported,
             dropped_lines_are_sent_again_on_request, callers_are_named,
             texts_in_the_form_of_reports_are_printed_as_texts,
             terminals_and_messages_show_no_control_character, terminals_without_utf8_show_only_ascii,
             only_allowed_callers_reach_a_listener, output_that_is_not_read_is_reported_before_the_summary,
             output_that_stays_full_closes_the_link_until_it_is_read, messages_that_are_not_read_do_not_delay_the_end_either, signals_end_a_session,
             broken_output_closes_the_link, an_answer_ends_a_question, a_peer_that_leaves_ends_a_session,
             silence_ends_a_session, refused_calls_end_a_session, missing_texts_end_a_session,
             a_signal_ends_a_session_before_its_count, a_peer_that_does_not_close_is_reported, a_service_manager_is_notified]


class LiveLinks(unittest.TestCase):
    def test_every_scenario_passes(self):
        with concurrent.futures.ThreadPoolExecutor(len(SCENARIOS)) as pool:
            running = {s.__name__: pool.submit(s, next(IDENTIFIERS)) for s in SCENARIOS}
        for name, scenario in running.items():
            with self.subTest(name):
                scenario.result()


if __name__ == "__main__":
    unittest.main(warnings="ignore")  # the sockets of the scenarios stay open until the process ends
