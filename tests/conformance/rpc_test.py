#!/usr/bin/env python3
"""Holds the conversations with the program QUARN, through its command rpc."""
import json
import os
import subprocess
import time

import conformance


class Rpc:
    column = "rpc"

    def __enter__(self):
        self.process = subprocess.Popen([os.environ["QUARN"], "rpc"], stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        return self

    def __exit__(self, *_):
        self.process.stdin.close()
        self.process.wait()
        self.process.stdout.close()

    def call(self, method, parameters):
        request = {"jsonrpc": "2.0", "id": 1, "method": method, "params": parameters}
        self.process.stdin.write(json.dumps(request).encode() + b"\n")
        self.process.stdin.flush()
        answer = json.loads(self.process.stdout.readline())
        if "error" in answer:
            raise conformance.Failure(answer["error"]["code"])
        return answer["result"]

    def turn(self):
        """The process turns its own loop."""
        time.sleep(0.2)


conformance.hold_all(Rpc)
