#!/usr/bin/env python3
"""Holds the conversations of conversations.json with a binding, over real TCP and in real time.

A binding is an object with `column`, `call(method, parameters)`, which raises Failure, and `turn()`. Texts have one
character for each byte, and results the form of `quarn rpc`.
"""
import json
import os
import pathlib
import socket
import sys
import tempfile
import time

CONVERSATIONS = json.loads((pathlib.Path(__file__).parent / "conversations.json").read_text())
FIRST_FREE_PORT, IDENTIFIERS = 20100, 999  # the ports of the identifiers that can exchange texts


class Failure(Exception):
    """A call failed with this number."""

    def __init__(self, number):
        super().__init__(number)
        self.number = number


def is_free(port):
    with socket.socket() as one:
        try:
            one.bind(("127.0.0.1", port))
            return True
        except OSError:
            return False


def free_identifier():
    """Processes that look for one at the same time begin at different ones."""
    candidates = ((os.getpid() + step) % IDENTIFIERS for step in range(IDENTIFIERS))
    return next(each for each in candidates if is_free(FIRST_FREE_PORT + each))


def plain(value, folder, identifier):
    """Replaces the values that stand for something else."""
    if not isinstance(value, dict) or len(value) != 1:
        return value
    if "codes" in value:
        return "".join(map(chr, range(value["codes"][0], value["codes"][1] + 1)))
    if "folder" in value:
        return f"{folder}/{value['folder']}"
    return identifier + value["free"] if "free" in value else value


def matches(actual, expected):
    """Of an object only the members that are expected count."""
    if isinstance(expected, dict) and "begins" in expected:
        return isinstance(actual, str) and actual.startswith(expected["begins"])
    if isinstance(expected, list):
        return isinstance(actual, list) and len(actual) == len(expected) and all(map(matches, actual, expected))
    if isinstance(expected, dict):
        return isinstance(actual, dict) and all(
            name in actual and matches(actual[name], value) for name, value in expected.items())
    return actual == expected and isinstance(actual, bool) == isinstance(expected, bool)


def result_of(binding, method, parameters):
    try:
        return binding.call(method, parameters)
    except Failure as failure:
        return {"fails": failure.number}


def expected_of(binding, expected):
    """A binding whose failures differ, or that cannot make the call, has a column in the row."""
    if not isinstance(expected, dict) or "fails" not in expected:
        return expected
    own = expected.get(binding.column, expected["fails"])
    return own if own == "skip" else {"fails": own}


def take(binding, row, folder, identifier):
    seconds, (method, parameters, *rest) = (row[1], row[2:]) if row[0] == "until" else (0, row)
    parameters = [plain(each, folder, identifier) for each in parameters]
    expected = expected_of(binding, plain(rest[0], folder, identifier) if rest else None)
    if expected == "skip":
        return
    end = time.monotonic() + seconds
    while not matches(actual := result_of(binding, method, parameters), expected):
        if time.monotonic() >= end:
            sys.exit(f"{binding.column}: {method}{json.dumps(parameters)}: {actual!r} instead of {expected!r}")
        binding.turn()


def hold(make_binding, conversation):
    with tempfile.TemporaryDirectory() as folder, make_binding() as binding:
        identifier = free_identifier()
        for row in conversation["steps"]:
            take(binding, row, folder, identifier)
    print(f"{binding.column}: {conversation['name']}", flush=True)


def hold_all(make_binding):
    """Holds each conversation with a binding of its own."""
    for conversation in CONVERSATIONS:
        hold(make_binding, conversation)
