"""Tests links over real TCP. Every link waits 10 seconds before it calls or listens, so all scenarios run at once."""

import concurrent.futures
import inspect
import json
import os
import pty
import signal
import socket
import subprocess
import tempfile
import unittest

from peer import FIRST_PORT, IDENTIFIERS, Peer
from tool import Rpc, Session, run

CHECK = unittest.TestCase()
ALL_BYTES = bytes(code for code in range(256) if code not in b"\x03|")


def accepted_call(identifier, *options, lines=(), first=(b"9QRY", b"9."), **how):
    """Returns a `quarn call` that sends lines, and its peer after the first message."""
    with Peer.listen(identifier) as listener:
        session = Session("call", identifier, *options, **how)
        if lines:
            session.write(*lines)
        peer = Peer.accept(listener, identifier)
    peer.expect(*first)
    return session, peer


def messages_at_end(session, *expected, status=0):
    ended, _, messages = session.finish()
    CHECK.assertEqual(status, ended, messages)
    for words in expected:
        CHECK.assertIn(words, messages)
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
        messages_at_end(client, b"done: 45 lines acknowledged, 45 texts received",
                        b"| CHIAMO ETH %d TEST %d 127.0.0.1" % (identifier, FIRST_PORT + identifier))
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
        messages_at_end(session, b"line 4: did not arrive (dropped: reconnection)",
                        b"not done (status 24, unknown): 2 lines acknowledged, 1 line dropped, 1 line unknown, 0 texts", status=24)


def dropped_lines_are_sent_again_on_request(identifier):
    """A line that was in a frame may then arrive twice."""
    def repeated_lines():
        caller = Peer.call(identifier)
        caller.send(b"9QRY", b"9.")
        caller.expect(b"first", b"second", b"9CMD", b"9.")
        return caller
    session = Session("listen", identifier, "--resend", "--trace")
    session.write(b"first", b"second")
    peer = Peer.call(identifier)
    session.await_message(b"| COMANDO:00002 second")
    peer.send(b"9K", b"9.")
    session.await_message(b" lines 1 to 2: sent again (dropped: reconnection)")
    peer = repeated_lines()
    session.await_message(b" outage 1, ")
    peer.send(b"9K", b"9.")
    session.await_message(b" lines 1 to 2: sent again, may arrive twice (unknown: reconnection, in 1 frame)")
    peer = repeated_lines()
    peer.send(b"9ACK", b"9QRY", b"9.")
    peer.expect(b"9NODATA", b"9.")
    session.process.send_signal(signal.SIGINT)
    session.await_message(b"closing; ")
    peer.send(b"9K", b"9.")
    messages_at_end(session, b"done: 2 lines acknowledged, 4 lines sent again, 0 texts")


def callers_are_named(identifier):
    session = Session("listen", identifier)
    session.write(b"never in a frame")
    callers = Peer.call(identifier), None
    session.await_message(b"connected to 127.0.0.1:%d, caller %s" % (FIRST_PORT + identifier, callers[0].name()))
    callers = callers[0], Peer.call(identifier)
    session.await_message(b"caller %s, a new caller replaced the previous one, %s" % (callers[1].name(), callers[0].name()))
    callers[1].send(b"9K", b"9.")
    session.await_message(b"line 1: did not arrive (dropped: reconnection)")
    messages_at_end(session, b"not done (status 22, dropped): 0 lines acknowledged, 1 line dropped, ", status=22)


def texts_in_the_form_of_reports_are_printed_as_texts(identifier):
    forged = b"X000E0702[#I%d#$TTEST$]09300518112026" % identifier
    session, peer = accepted_call(identifier, "--raw")
    peer.deliver(forged)
    CHECK.assertEqual([forged], session.read(1))
    peer.send(b"9K", b"9.")  # the first disconnection
    messages = messages_at_end(session, b"1 text received")
    CHECK.assertEqual(1, messages.count(b": disconnected\n") + messages.count(b" disconnected\n"), messages)
    CHECK.assertNotIn(forged, messages)


def check_shown_characters(identifier, locale, others):
    escaped = "\u0080\u009b\u202e".encode()
    shown = b"".join(b"%c" % code if 32 <= code < 127 else b"\\x%02X" % code for code in ALL_BYTES + escaped) + others
    reader, terminal = pty.openpty()
    session, peer = accepted_call(identifier, "--trace", stdout=terminal, locale=locale)
    peer.deliver(ALL_BYTES + escaped + "\u00c8\u65e5".encode())
    CHECK.assertEqual(shown + b"\r\n", b"".join(iter(lambda: os.read(reader, 1), b"\n")) + b"\n")
    peer.send(b"9K", b"9.")
    messages = messages_at_end(session, b"X:" + shown)
    CHECK.assertTrue(all(line.isprintable() for line in messages.decode().splitlines()), messages)


def terminals_and_messages_show_no_control_character(identifier):
    check_shown_characters(identifier, "C.UTF-8", "\u00c8\u65e5".encode())


def terminals_without_utf8_show_only_ascii(identifier):
    check_shown_characters(identifier, "C", b"\\xC3\\x88\\xE6\\x97\\xA5")


def messages_of_unread_output(identifier, *options):
    """The link closes and the program ends although nobody reads."""
    session, peer = accepted_call(identifier, "--wait", "2", *options)
    for _ in range(4):  # more than a pipe holds
        peer.deliver(b"T" * 30_000)
    session.process.stdin.close()
    peer.let_go()
    CHECK.assertEqual(3, session.process.wait(90))
    return session.process.stderr.read()


def output_that_is_not_read_is_reported_before_the_summary(identifier):
    CHECK.assertRegex(messages_of_unread_output(identifier), rb" \d+ bytes not written; text 2 of 4 is the last one written\n.* not done \(status 3, output\): 0 lines acknowledged, "
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
    messages_at_end(session, b"done: 0 lines acknowledged, %d texts received" % sent)


def messages_that_are_not_read_do_not_delay_the_end_either(identifier):
    messages_of_unread_output(identifier, "--trace")


def only_allowed_callers_reach_a_listener(identifier):
    session = Session("listen", identifier, "--listen-on", "127.0.0.1", "--allow", "192.0.2.1", "--allow", "127.0.0.9")
    with CHECK.assertRaises(ConnectionResetError):
        Peer.call(identifier).connection.recv(1)
    session.process.send_signal(signal.SIGINT)
    CHECK.assertNotIn(b"connected to", messages_at_end(session, b"0 texts received, 1 caller refused"))


def signals_end_a_session(identifier):
    session, _peer = accepted_call(identifier, lines=[b"never acknowledged"], first=(b"never acknowledged", b"9CMD", b"9."))
    session.process.send_signal(signal.SIGHUP)
    session.await_message(b"closing; a second Ctrl-C ends the program at once")
    session.process.send_signal(signal.SIGINT)
    messages_at_end(session, status=130)


def broken_output_closes_the_link(identifier):
    session, peer = accepted_call(identifier)
    session.process.stdout.close()
    peer.deliver(b"nobody reads this")
    session.await_message(b"standard output: Broken pipe")
    peer.let_go()
    messages_at_end(session, b"not done (status 3, output): 0 lines acknowledged, 1 text received", status=3)


def an_answer_ends_a_question(identifier):
    session, peer = accepted_call(identifier, "--message", "\u00e8|9K", "--count", "3", "--timeout", "80", "--encode",
                                  "--decode", "--json", "--quiet", first=("~:\u00e8~!9K".encode(), b"9CMD", b"9."))
    peer.send(b"9ACK", b"9.")
    peer.expect(b"9QRY", b"9.")
    peer.deliver(b"~:\xff~~", b"\xc3\xa8\x1b", b"~:~z", b"beyond")
    peer.let_go()
    status, output, messages = session.finish()
    lines = [json.loads(line) for line in output.splitlines()]
    CHECK.assertLessEqual({"connected", "heard", "closed"}, {line["type"] for line in lines})
    receipts = [(line["receipt"]["outcome"], line["lines"]) for line in lines if line["type"] == "receipts"]
    CHECK.assertEqual([("acknowledged", {"first": 1, "last": 1, "count": 1})], receipts)
    texts = [(line["text"], line.get("encoding"), line.get("decoded")) for line in lines if line["type"] == "text"]
    CHECK.assertEqual([("\u00ff~", "bytes", None), ("\u00e8\x1b", None, None), ("~:~z", None, False)], texts)
    CHECK.assertLessEqual({"type": "end", "status": 0, "cause": "done", "acknowledged": 1, "received": 3,
                           "written": 3}.items(), lines[-1].items())
    CHECK.assertEqual((0, b""), (status, messages))


def a_peer_that_leaves_ends_a_session(identifier):
    session, peer = accepted_call(identifier, "--receive-only", "--once", stdin=subprocess.DEVNULL)
    peer.connection.close()
    messages_at_end(session, b"not done (status 14, link-lost): ", status=14)


def refused_calls_end_a_session(identifier):
    CHECK.assertIn(b"not done (status 12, call-refused): ",
                   run("call", "TEST", str(identifier), "--message", "AB", "--resend", "--timeout", "25").stderr)


def session_with_one_text(identifier, *options):
    session, peer = accepted_call(identifier, *options, stdin=subprocess.DEVNULL)
    peer.deliver(b"first")
    CHECK.assertEqual([b"first"], session.read(1))
    return session, peer


def missing_texts_end_a_session(identifier):
    session, peer = session_with_one_text(identifier, "--count", "2", "--timeout", "25")
    peer.let_go()
    messages_at_end(session, b"not done (status 30, timeout): ", status=30)


def a_signal_ends_a_session_before_its_count(identifier):
    session, peer = session_with_one_text(identifier, "--count", "2")
    session.process.send_signal(signal.SIGTERM)
    peer.let_go()
    messages_at_end(session, b"not done (status 34, count-not-reached): ", status=34)


def a_peer_that_does_not_close_is_reported(identifier):
    session, _peer = session_with_one_text(identifier, "--count", "1", "--wait", "2")
    messages_at_end(session, b"not done (status 36, not-closed): ", status=36)


def silence_ends_a_session(identifier):
    session, peer = accepted_call(identifier, "--receive-only", "--timeout", "25")
    peer.let_go()
    messages_at_end(session, b"not done (status 32, nothing-received): ", status=32)


def a_service_manager_is_notified(identifier):
    with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as manager:
        manager.bind(f"\0quarn-{identifier}")
        manager.settimeout(60)
        session = Session("listen", identifier, "--receive-only", stdin=subprocess.DEVNULL,
                          NOTIFY_SOCKET=f"@quarn-{identifier}", WATCHDOG_USEC="800000")
        CHECK.assertEqual(b"READY=1", manager.recv(1000))
        CHECK.assertRegex(manager.recv(1000), b"^STATUS=down since .*: not connected yet; listens again at ")
        watchdogs = 0
        while watchdogs < 3:
            watchdogs += manager.recv(1000) == b"WATCHDOG=1"
        session.process.send_signal(signal.SIGTERM)
        while manager.recv(1000) != b"STOPPING=1":
            pass
        messages_at_end(session)


# The functions that need an identifier and nothing else.
SCENARIOS = [each for each in list(globals().values())
             if inspect.isfunction(each) and list(inspect.signature(each).parameters) == ["identifier"]]


class LiveLinks(unittest.TestCase):
    def test_every_scenario_passes(self):
        with concurrent.futures.ThreadPoolExecutor(len(SCENARIOS)) as pool:
            running = {s.__name__: pool.submit(s, next(IDENTIFIERS)) for s in SCENARIOS}
        for name, scenario in running.items():
            with self.subTest(name):
                scenario.result()


if __name__ == "__main__":
    unittest.main(warnings="ignore")  # the sockets of the scenarios stay open until the process ends
