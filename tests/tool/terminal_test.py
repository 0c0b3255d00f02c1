"""Tests the tool on pseudo-terminals of 40 and 80 columns: typed text stays, and the status line fits."""

import fcntl
import os
import pty
import re
import signal
import struct
import subprocess
import termios
import time
import unittest

from peer import IDENTIFIERS
from tool import QUARN, Session

ROWS = 8


class Screen:
    """The characters that a terminal shows. Knows the control sequences that the tool uses, and no others."""

    SEQUENCE = re.compile(r"\x1b(?:\[(\d*)(?:;(\d+))?([A-Za-z])|([78D]))")

    def __init__(self, columns):
        self.columns, self.rows = columns, [""] * ROWS
        self.row = self.column = 0
        self.saved, self.bottom = (0, 0), ROWS - 1
        self.begun = ""  # of a control sequence

    def feed(self, character):
        self.begun += character
        sequence = self.SEQUENCE.match(self.begun)
        if self.begun[0] == "\x1b" and not sequence and len(self.begun) < 10:
            return
        if sequence:
            self.control(*sequence.groups())
        elif character == "\n":
            self.down()
        elif character == "\r":
            self.column = 0
        else:
            self.put(character)
        self.begun = ""

    def put(self, character):
        if self.column == self.columns:
            self.column = 0
            self.down()
        line = self.rows[self.row].ljust(self.column)
        self.rows[self.row] = line[:self.column] + character + line[self.column + 1:]
        self.column += 1

    def down(self):
        if self.row == self.bottom:
            self.rows.insert(self.bottom + 1, "")
            self.rows.pop(0)
        else:
            self.row = min(self.row + 1, ROWS - 1)

    def control(self, first, second, final, plain):
        if plain == "7":
            self.saved = self.row, self.column
        elif plain == "8":
            self.row, self.column = self.saved
        elif plain == "D":
            self.down()
        elif final == "A":
            self.row -= 1
        elif final == "r":
            self.bottom, self.row, self.column = int(second or ROWS) - 1, 0, 0
        elif final == "H":
            self.row, self.column = min(int(first), ROWS) - 1, int(second) - 1
        elif final == "K":
            self.rows[self.row] = "" if first == "2" else self.rows[self.row][:self.column]
        else:
            raise AssertionError(f"the tool wrote ESC [ {first};{second}{final}")


class Terminals(unittest.TestCase):
    def session(self, columns, **streams):
        self.master, slave = pty.openpty()
        fcntl.ioctl(slave, termios.TIOCSWINSZ, struct.pack("HHHH", ROWS, columns, 0, 0))
        streams = {name: stream or slave for name, stream in streams.items()}
        session = Session("listen", next(IDENTIFIERS), "--wait", "3", stderr=slave, TERM="xterm", **streams)
        os.close(slave)
        self.screen = Screen(columns)
        return session

    def watch(self, seconds=20, until=lambda rows: False):
        """Feeds the screen until a condition of its rows holds."""
        end = time.monotonic() + seconds
        while time.monotonic() < end and not until(self.screen.rows):
            try:
                self.screen.feed(os.read(self.master, 1).decode())
            except OSError:  # the other side is closed
                return

    def test_typed_text_stays_beside_the_status_line(self):
        for columns in (40, 80):
            with self.subTest(columns=columns):
                session = self.session(columns, stdin=None, stdout=None)
                self.watch(until=lambda rows: "listens in" in rows[-1])
                os.write(self.master, b"typed so far")
                seen = set()
                self.watch(until=lambda rows: seen.add(rows[-1]) or len(seen) > 3)
                session.process.send_signal(signal.SIGINT)
                self.watch(until=lambda rows: any("done: " in row for row in rows))
                session.process.wait(10)
                self.assertIn("typed so far", "".join(self.screen.rows))
                self.assertEqual(("", ROWS - 1), (self.screen.rows[-1], self.screen.bottom), self.screen.rows)

    def test_the_status_line_fits_into_one_row(self):
        for columns in (40, 80):
            with self.subTest(columns=columns):
                session = self.session(columns, stdin=subprocess.PIPE, stdout=subprocess.PIPE)
                session.write(*[b"line %d" % i for i in range(100)])
                session.process.stdin.close()
                shown = re.compile(r"^listens in \d+ s; 100 lines to be ack(nowledged, gives up in \d+ s|\.\.\.)$")
                self.watch(until=lambda rows: any(shown.match(row) for row in rows))
                self.assertTrue(any(shown.match(row) for row in self.screen.rows), self.screen.rows)
                self.watch(until=lambda rows: any("not done" in row for row in rows))
                self.assertFalse(any(shown.match(row) for row in self.screen.rows), self.screen.rows)
                self.assertEqual(10, session.process.wait(10))
                session.process.stdout.close()

    def test_a_simulation_shows_its_progress_and_its_totals_after_ctrl_c(self):
        for arguments, progress, total in (
                ("--hours 100000", b"of 6000000 minutes", b"interrupted before the faults ended"),
                ("--seeds 100000", b"of 100000 seeds", rb"^seeds +\d+ from 7 on(, and \d+ up to the interruption)?\n")):
            with self.subTest(arguments):
                master, slave = pty.openpty()
                process = subprocess.Popen([QUARN, "simulate", "--seed", "7", *arguments.split()],
                                           stdout=subprocess.PIPE, stderr=slave, env=os.environ | {"TERM": "xterm"})
                shown = b""
                while progress not in shown:
                    shown += os.read(master, 100)
                process.send_signal(signal.SIGINT)
                totals = process.communicate(timeout=60)[0]
                self.assertEqual(4, process.returncode)
                self.assertRegex(totals, total)  # the seed under way may end before the signal is noticed
                self.assertRegex(totals, rb"\ntexts +\d+ sent")


if __name__ == "__main__":
    unittest.main(warnings="ignore")  # the terminals stay open until the process ends
