"""Plays a peer over a plain socket and builds its own frames, without code of the library."""

import functools
import operator
import os
import socket
import time

FIRST_PORT = 20100


def frame(message: bytes) -> bytes:
    """Returns the frame of a message: STX, "9999", the message, two characters of checksum, ETX."""
    body = b"9999" + message
    checksum = functools.reduce(operator.xor, body, 0)
    return b"\x02" + body + bytes([64 + checksum // 16, 64 + checksum % 16]) + b"\x03"


def message(identifier: int, *fields: bytes) -> bytes:
    """Returns a message: "000", the identifier, the count of its fields and the fields."""
    head = b"000%03d%c" % (identifier, 48 + len(fields))
    return head + b"".join(b"|" + field for field in fields) + b"|"


def free_identifiers():
    """Yields identifiers with a free port, each once. Reserves each against other test processes until this process
    ends: all tests hold the UDP port of the same number."""
    guards = []
    start = os.getpid() * 37  # tests that run at the same time begin far apart
    for i in range(900):
        identifier = 100 + (start + i) % 900
        guard = socket.socket(type=socket.SOCK_DGRAM)
        with socket.socket() as probe:
            try:
                for trial in (guard, probe):
                    trial.bind(("", FIRST_PORT + identifier))
            except OSError:
                guard.close()
                continue
        guards.append(guard)
        yield identifier


IDENTIFIERS = free_identifiers()


class Peer:
    """The peer's side of one connection. Received bytes must equal the expected bytes."""

    PATIENCE = 60  # seconds; a link calls or listens after 10, a busy machine needs more

    def __init__(self, identifier: int, connection: socket.socket):
        self.identifier = identifier
        self.connection = connection
        connection.settimeout(self.PATIENCE)

    @classmethod
    def listen(cls, identifier: int) -> socket.socket:
        return socket.create_server(("127.0.0.1", FIRST_PORT + identifier))

    @classmethod
    def accept(cls, listener: socket.socket, identifier: int) -> "Peer":
        listener.settimeout(cls.PATIENCE)
        return cls(identifier, listener.accept()[0])

    @classmethod
    def call(cls, identifier: int) -> "Peer":
        end = time.monotonic() + cls.PATIENCE
        while True:
            try:
                return cls(identifier, socket.create_connection(("127.0.0.1", FIRST_PORT + identifier)))
            except ConnectionRefusedError:
                if time.monotonic() > end:
                    raise
                time.sleep(0.2)

    def name(self) -> bytes:
        return b"127.0.0.1:%d" % self.connection.getsockname()[1]

    def send(self, *fields: bytes):
        self.connection.sendall(frame(message(self.identifier, *fields)))

    def expect(self, *fields: bytes):
        wanted = frame(message(self.identifier, *fields))
        got = b""
        while len(got) < len(wanted):
            piece = self.connection.recv(len(wanted) - len(got))
            if not piece:
                break
            got += piece
        if got != wanted:
            raise AssertionError(f"expected {wanted!r}, got {got!r}")

    def deliver(self, *texts: bytes):
        """Answers a client's query with texts; the client acknowledges them and asks again."""
        self.send(*texts, b"9CMD", b"9.")
        self.expect(b"9ACK", b"9QRY", b"9.")

    def expect_close(self):
        rest = self.connection.recv(100)
        if rest:
            raise AssertionError(f"expected the close, got {rest!r}")

    def answer_queries_until(self, *fields: bytes, query=(b"9QRY", b"9."), answer=(b"9NODATA", b"9.")) -> int:
        """Answers a client's queries, with "no data" for example, until it sends `fields`. Returns their number."""
        expected = frame(message(self.identifier, *query))
        answers = 0
        while self.connection.recv(len(expected), socket.MSG_PEEK | socket.MSG_WAITALL) == expected:
            self.expect(*query)
            self.send(*answer)
            answers += 1
        self.expect(*fields)
        return answers

    def let_go(self):
        """Answers the client's queries, one of which waits, with "no data" until it closes the link."""
        self.send(b"9NODATA", b"9.")
        self.answer_queries_until(b"9K", b"9CMD", b"9.")
        self.send(b"9ACK", b"9.")
        self.connection.close()
