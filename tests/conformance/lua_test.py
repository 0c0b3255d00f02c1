#!/usr/bin/env python3
"""Holds the conversations with the Lua binding: sends each call as a line of Lua to an interpreter.

    lua_test.py FOLDER_OF_MODULE
"""
import json
import os
import pathlib
import re
import subprocess
import sys

import conformance

DRIVER = pathlib.Path(__file__).parent / "lua_driver.lua"
LISTS = ("pending", "outages", "linksWithNews")


def literal(value):
    if isinstance(value, str):
        return '"' + "".join(f"\\{ord(c):03}" for c in value) + '"'
    return json.dumps(value)


def camel_case(value):
    """The tables of Lua in the form of `quarn rpc`."""
    if isinstance(value, list):
        return [camel_case(each) for each in value]
    if not isinstance(value, dict):
        return value
    named = {re.sub("_([a-z])", lambda match: match[1].upper(), name): camel_case(each) for name, each in value.items()}
    if "unknown" in named:
        named["outcomes"] = {name: named[name] for name in ("acknowledged", "dropped", "unknown")}
    return named


class Lua:
    column = "lua"

    def __enter__(self):
        environment = {**os.environ, "LUA_CPATH": f"{sys.argv[1]}/?.so"}
        self.process = subprocess.Popen(["lua5.4", DRIVER], env=environment, stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE, text=True)
        return self

    def __exit__(self, *_):
        self.process.stdin.close()
        self.process.wait()
        self.process.stdout.close()

    def run(self, line):
        self.process.stdin.write(line + "\n")
        self.process.stdin.flush()
        answer = json.loads(self.process.stdout.readline())
        if "failure" in answer:
            raise conformance.Failure(answer["failure"])
        return camel_case(answer.get("result"))

    def call(self, method, parameters):
        name = "next_item" if method == "receive" else method
        name = name if name[0].isupper() else re.sub("[A-Z]", lambda match: "_" + match[0].lower(), name)
        call = f"quarn:{name}({', '.join(map(literal, parameters))})"
        if method == "send":
            call = f"(function(number, refusal) return {{number = number, refusal = refusal}} end)({call})"
        while method == "receive" and self.call("reportWaits", parameters):
            self.call("GetMessaggioArrivato", parameters)
        result = self.run(call)
        return [] if result == {} and method in LISTS else result

    def turn(self):
        self.run("quarn:turn(0.2)")


conformance.hold_all(Lua)
