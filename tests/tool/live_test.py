"""Links over real TCP. An activation takes its 10 seconds here, so all scenarios run at the same time."""

import concurrent.futures
import os
import signal
import tempfile
import unittest

from peer import FIRST_PORT, IDENTIFIERS, Peer
from tool import Rpc, Session, run

CHECK = unittest.TestCase()
ALL_BYTES = bytes(code for code in range(256) if code not in b"\x03|")


def client_speaks_bytes(identifier):
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


def server_speaks_bytes(identifier):
    with Rpc() as rpc:
        link = rpc.open("TEST", identifier, client=False)
        peer = Peer.call(identifier)
        rpc.wait_for(lambda: rpc.Connesso(link))
        texts = [b"text %d" % i for i in range(21)]
        for text in texts:
            rpc.Invia(link, text.decode())
        peer.send(b"9!", b"AB", b"9CMD", b"9.")
        peer.expect(b"9ACK", b"9.")
        for _ in range(2):  # without an acknowledgement the same batch comes again
            peer.send(b"9QRY", b"9.")
            peer.expect(*texts[:20], b"9CMD", b"9.")
        peer.send(b"9ACK", b"9QRY", b"9.")
        peer.expect(texts[20], b"9OKAY000", b"9CMD", b"9.")
        peer.send(b"9ACK", b"9QRY", b"9.")
        peer.expect(b"9NODATA", b"9.")
        peer.send(b"9K", b"9.")
        peer.expect_close()
        CHECK.assertEqual([f"X000E0702[#I{identifier}#$TTEST$]"], rpc.items(link, 1))


def refused_call_is_reported(identifier):
    with Rpc() as rpc:
        link = rpc.open("TEST", identifier, client=True)
        where = f"127.0.0.1:{FIRST_PORT + identifier}"
        why = "10061  The requested connection has been refused by the remote host."
        expected = [f"X000E0702[#I{identifier}#$TTEST$]", f"X000E0991[#I{identifier}#$TTEST$$S{where} {why}$]"]
        CHECK.assertEqual(expected, rpc.items(link, 2))


def sessions_exchange_lines(identifier):
    """Both are recorded, and the recordings play."""
    with tempfile.TemporaryDirectory() as directory:
        recordings = [os.path.join(directory, role) for role in ("server", "client")]
        exchange_lines(identifier, *recordings)
        replay = run("replay", *recordings)
        CHECK.assertEqual((0, 2), (replay.returncode, replay.stdout.count(b": no difference: ")), replay)


def exchange_lines(identifier, server_recording, client_recording):
    server = Session("listen", identifier, "--record", server_recording)
    client = Session("call", identifier, "--trace", "--record", client_recording)
    up, down = [b"up %d" % i for i in range(45)], [b"down %d" % i for i in range(45)]
    client.write(*up)
    server.write(*down)
    CHECK.assertEqual(up, server.read(45))
    CHECK.assertEqual(down, client.read(45))
    status, _, said = client.finish()
    CHECK.assertEqual(0, status, said)
    CHECK.assertIn(b"done: 45 lines acknowledged, 45 texts received", said)
    CHECK.assertIn(b"| CHIAMO ETH %d TEST %d 127.0.0.1" % (identifier, FIRST_PORT + identifier), said)
    server.see(b"the peer asked to close")
    server.process.send_signal(signal.SIGINT)
    server.see(b"done: 45 lines acknowledged, 45 texts received")
    CHECK.assertEqual(0, server.finish()[0])


def losses_are_told(identifier):
    with Peer.listen(identifier) as listener:
        session = Session("call", identifier, "--wait", "3", "--trace")
        session.see(b"| ATTIVATO SOCKET CLIENT")
        session.write(b"first", b"second", b"A|BB", b"third")
        peer = Peer.accept(listener, identifier)
        peer.expect(b"first", b"second", b"9CMD", b"9.")
        peer.send(b"9ACK", b"9.")
        peer.expect(b"A|BB", b"9CMD", b"9.")  # alone: the pieces of one text push others out
        session.see(b"connected to 127.0.0.1:%d" % (FIRST_PORT + identifier))
        peer.send(b"9K", b"9.")
        session.see(b"line 3: may not have arrived")
        status, _, said = session.finish()
        CHECK.assertEqual(1, status, said)
        CHECK.assertIn(b"line 4: not sent", said)
        CHECK.assertIn(b"not done: 2 lines acknowledged, 2 lines lost, 0 texts received", said)


def interruptions(identifier):
    with Peer.listen(identifier) as listener:
        session = Session("call", identifier)
        session.write(b"never acknowledged")
        peer = Peer.accept(listener, identifier)
        peer.expect(b"never acknowledged", b"9CMD", b"9.")
        session.process.send_signal(signal.SIGTERM)
        session.see(b"closing; once more ends it at once")
        session.process.send_signal(signal.SIGINT)
        CHECK.assertEqual(130, session.finish()[0])


def broken_output_closes(identifier):
    with Peer.listen(identifier) as listener:
        session = Session("call", identifier)
        session.process.stdout.close()
        peer = Peer.accept(listener, identifier)
        peer.expect(b"9QRY", b"9.")
        peer.send(b"nobody reads this", b"9CMD", b"9.")
        peer.expect(b"9ACK", b"9QRY", b"9.")
        peer.send(b"9NODATA", b"9.")
        session.see(b"standard output: Broken pipe")
        peer.answer_queries_until(b"9K", b"9CMD", b"9.")
        peer.connection.close()
        status, _, said = session.finish()
        CHECK.assertEqual(1, status, said)
        CHECK.assertIn(b"done: 0 lines acknowledged, 1 text received", said)


SCENARIOS = [client_speaks_bytes, server_speaks_bytes, refused_call_is_reported,
             sessions_exchange_lines, losses_are_told, interruptions, broken_output_closes]


class LiveLinks(unittest.TestCase):
    def test_scenarios(self):
        with concurrent.futures.ThreadPoolExecutor(len(SCENARIOS)) as pool:
            running = {s.__name__: pool.submit(s, next(IDENTIFIERS)) for s in SCENARIOS}
        for name, scenario in running.items():
            with self.subTest(name):
                scenario.result()


if __name__ == "__main__":
    unittest.main(warnings="ignore")  # scenarios leave their sockets to the end of the process
