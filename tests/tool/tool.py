"""The console tool as a process: quarn rpc with its requests, sessions with their lines."""

import json
import os
import subprocess
import time

QUARN = os.environ["QUARN"]  # the path of the tool


def run(*arguments: str, text: bytes = b"", **options) -> subprocess.CompletedProcess:
    return subprocess.run([QUARN, *arguments], input=text, capture_output=True, timeout=120, **options)


class Rpc:
    """One `quarn rpc`; a method is called by its name: rpc.Add("ABC", 5, True, True)."""

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

    def wait_for(self, condition, seconds=25):
        """Polls until the condition yields something true, and returns it."""
        end = time.monotonic() + seconds
        while not (result := condition()):
            if time.monotonic() > end:
                raise AssertionError("not within the time allowed")
            time.sleep(0.1)
        return result

    def items(self, link: int, count: int, reports=True) -> list:
        """The next `count` items of the link, reports without their time of day, or not at all."""
        found = []
        while len(found) < count:
            item = self.wait_for(lambda: self.GetMessaggioArrivato(link))
            if not item.startswith("X000E"):
                found.append(item)
            elif reports:
                found.append(item[: item.rindex("]") + 1])
        return found


class Session:
    """One `quarn listen` or `quarn call` whose input stays open until `finish`."""

    def __init__(self, command: str, identifier: int, *options: str):
        self.process = subprocess.Popen(
            [QUARN, command, "TEST", str(identifier), *options],
            bufsize=0, stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE)

    def write(self, *lines: bytes):
        self.process.stdin.write(b"".join(line + b"\n" for line in lines))

    def read(self, count: int) -> list:
        return [self.process.stdout.readline().rstrip(b"\n") for _ in range(count)]

    def see(self, words: bytes):
        """Reads what the tool says up to a line that holds `words`."""
        for line in self.process.stderr:
            if words in line:
                return
        raise AssertionError(f"{words!r} was not said")

    def finish(self):
        """Ends the input; the exit status, the rest of the output and the rest of what was said."""
        rest, said = self.process.communicate(timeout=90)
        return self.process.returncode, rest, said
