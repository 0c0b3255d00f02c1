#!/usr/bin/env python3
"""Measures calls through the Python binding, with the library that QUARNEX_LIBRARY names, and prints the nanoseconds of each
as JSON, under the names of the same calls in binding_benchmark.cpp."""
import json
import pathlib
import sys
import timeit

sys.path.insert(0, str(pathlib.Path(__file__).parents[1] / "bindings/python"))
sys.dont_write_bytecode = True
import quarnex  # noqa: E402

CALLS, REPETITIONS = 300, 500
TEXT = b"x" * 100

quarn = quarnex.QuarnSocket()
sender, receiver = (quarn.Add(b"BENCH", 1, client, False) for client in (True, False))


def text() -> None:
    quarn.Invia(sender, TEXT)
    quarn.GetMessaggioArrivato(receiver)


def nanoseconds(function, calls):
    """Of one call in the fastest repetition; they are short, so that one of them shares the processor with nothing."""
    return min(timeit.repeat(function, number=CALLS, repeat=REPETITIONS)) / CALLS / calls * 1e9


print(json.dumps({"connected": nanoseconds(lambda: quarn.Connesso(sender), 1), "text": nanoseconds(text, 2),
                  "snapshot": nanoseconds(lambda: quarn.snapshot(sender), 1)}))
