#!/usr/bin/env python3
"""Holds the conversations with the Python binding, each in a process of its own."""
import dataclasses
import enum
import multiprocessing
import re
import sys

import conformance
import quarnex


def camel_case(name):
    return re.sub(r"_([a-z])", lambda match: match[1].upper(), name.rstrip("_"))


def plain(value):
    """A result in the form of `quarn rpc`."""
    if isinstance(value, bytes):
        return value.decode("latin-1")
    if isinstance(value, enum.Enum):
        return value.value
    if isinstance(value, list):
        return [plain(each) for each in value]
    if isinstance(value, dict):
        return {plain(key): plain(each) for key, each in value.items()}
    if dataclasses.is_dataclass(value):
        names = [field.name for field in dataclasses.fields(value)] + ["type"] * isinstance(value, quarnex.events.Event)
        return {camel_case(name): plain(getattr(value, name)) for name in names}
    return value


class Python:
    column = "python"

    def __enter__(self):
        self.quarn = quarnex.QuarnSocket()
        return self

    def __exit__(self, *_):
        self.quarn.close()

    def call(self, method, parameters):
        name = method if method[0].isupper() else re.sub(r"[A-Z]", lambda match: "_" + match[0].lower(), method)
        function = getattr(self.quarn, name, None) or getattr(quarnex, name)
        arguments = [each.encode("latin-1") if isinstance(each, str) else each for each in parameters]
        try:
            result = plain(function(*arguments))
        except quarnex.Failure as failure:
            raise conformance.Failure(failure.number) from failure
        except TypeError as error:
            raise conformance.Failure(type(error).__name__) from error
        except quarnex.Refused as refused:
            return {"number": 0, "refusal": refused.refusal.value}
        return {"number": result} if method == "send" else result

    def turn(self):
        self.quarn.turn(0.2)


for conversation in conformance.CONVERSATIONS:
    child = multiprocessing.get_context("fork").Process(target=conformance.hold, args=(Python, conversation))
    child.start()
    child.join()
    if child.exitcode:
        sys.exit(f"it ended with {child.exitcode}: {conversation['name']}")
