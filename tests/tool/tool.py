"""Runs the console tool as a process: `quarn rpc` with requests, `quarn listen` and `quarn call` with lines."""

import json
import os
import subprocess
import time

QUARN = os.environ["QUARN"]  # the path of the tool


def run(*arguments: str, text: bytes = b"", **environment: str) -> subprocess.CompletedProcess:
    """Runs the tool with this standard input; None stands for /dev/null."""
    source = {"stdin": subprocess.DEVNULL} if text is None else {"input": text}
    return subprocess.run([QUARN, *arguments], **source, capture_output=True, timeout=120, env=os.environ | environment)


class Rpc:
    """One `quarn rpc` process. Call a method by its name: rpc.Add("ABC", 5, True, True)."""

    def __init__(self):
        self.process = subprocess.Popen([QUARN, "rpc"], stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        self.count = 0

    def __enter__(self):
        self.Init("")
        return self

    def __exit__(self, *_):
        self.process.stdin.close()
        status = self.process.wait(20)
        self.process.stdout.close()
        if status != 0:
            raise AssertionError(f"quarn rpc ended with {status}")

    def __getattr__(self, method):
        def call(*parameters):
            self.count += 1
            request = {"jsonrpc": "2.0", "id": self.count, "method": method, "params": parameters}
            self.process.stdin.write(json.dumps(request).encode() + b"\n")
            self.process.stdin.flush()
            answer = json.loads(self.process.stdout.readline())
            if answer["id"] != self.count or "result" not in answer:
                raise AssertionError(f"{request} was answered by {answer}")
            return answer["result"]

        return call

    def open(self, kind: str, identifier: int, client: bool) -> int:
        link = self.Add(kind, identifier, client, True)
        self.Apri(link)
        return link

    def wait_for(self, condition, seconds=60):
        """Polls until the condition returns a true value, and returns it."""
        end = time.monotonic() + seconds
        while not (result := condition()):
            if time.monotonic() > end:
                raise AssertionError("not within the time allowed")
            time.sleep(0.1)
        return result

    def items(self, link: int, count: int) -> list:
        """Returns the next `count` items of the link; removes the time of day from reports."""
        found = [self.wait_for(lambda: self.GetMessaggioArrivato(link)) for _ in range(count)]
        return [item[: item.rindex("]") + 1] if item.startswith("X000E") else item for item in found]


class Session:
    """One `quarn listen` or `quarn call` process. Its input stays open until `finish`."""

    def __init__(self, command: str, identifier: int, *options: str, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                 stderr=subprocess.PIPE, locale="C.UTF-8", **environment: str):
        self.process = subprocess.Popen(
            [QUARN, command, "TEST", str(identifier), *options], bufsize=0,
            env={**os.environ, "LC_ALL": locale, **environment}, stdin=stdin, stdout=stdout, stderr=stderr)

    def write(self, *lines: bytes):
        self.process.stdin.write(b"".join(line + b"\n" for line in lines))

    def read(self, count: int) -> list:
        return [self.process.stdout.readline().rstrip(b"\n") for _ in range(count)]

    def await_message(self, words: bytes):
        """Reads messages from standard error up to a line that contains `words`."""
        for line in self.process.stderr:
            if words in line:
                return
        raise AssertionError(f"no message contains {words!r}")

    def finish(self):
        """Closes the input; returns the exit status, the rest of standard output and the rest of standard error."""
        rest, messages = self.process.communicate(timeout=90)
        return self.process.returncode, rest, messages
