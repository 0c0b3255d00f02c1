"""Runs tests of host programs in virtual time: several hosts with their own code on a simulated network in one process.

The environment variable QUARNEX_LIBRARY has to name libquarnex_testing.so, which has the real library in it, too::

    def the_peer_returns(site: testing.Site) -> None:
        tower, meteo = site.add("tower", Tower), site.add("meteo", Meteo)
        site.settle()
        tower.kill()
        site.run(60)
        tower.start()
        site.run_until(lambda: meteo.code.link.is_connected, within=120)

    testing.simulate(the_peer_returns)

The same code runs without changes on the real network. Time passes only in the functions of Site that state so.
"""
from __future__ import annotations

import asyncio
import ctypes
from ctypes import byref
from types import TracebackType
from typing import Any, Callable, Coroutine, List, Optional, Type, TypeVar, Union

from ._library import TYPES, Failure, Process, call_process, declare, load, milliseconds, new, string

_CODE = ctypes.CFUNCTYPE(ctypes.c_int32, ctypes.c_void_p)
_BODY = ctypes.CFUNCTYPE(ctypes.c_int32, ctypes.c_void_p, ctypes.c_void_p)

STRUCTS = {
    "test_settings": "uint32_t size; int32_t twice; uint64_t seed; uint64_t rare_runs; quarnex_text recordings;",
    "test_host": "uint32_t size; int32_t reserved; quarnex_test_code start, after_turn, end; void* data;",
}
FUNCTIONS = {
    "test_simulate": "*test_settings test_body *void",
    "test_add": "test_site string *test_host *int32",
    "test_kill": "test_site int32",
    "test_start": "test_site int32",
    "test_inside": "test_site int32 test_code *void",
    "test_make_folder": "test_site int32 string",
    "test_file": "test_site int32 string *text",
    "test_fault": "test_site int32 int32 int32 int64 *int32",
    "test_end_fault": "test_site int32",
    "test_now": "test_site *int64",
    "test_run": "test_site int64",
    "test_run_until": "test_site test_code *void int64",
    "test_settle": "test_site",
    "test_nothing_more_happens": "test_site",
}

TYPES.update({"test_code": _CODE, "test_body": _BODY, "test_site": ctypes.c_void_p, "void": None})
declare(STRUCTS)
try:
    C = load(FUNCTIONS)
except ImportError as problem:
    raise ImportError("the test kit needs its own library: set QUARNEX_LIBRARY to libquarnex_testing.so") from problem

_Result = TypeVar("_Result")
HostCode = Union[Coroutine[Any, Any, Any], Any]


class TestFailed(AssertionError):
    """A test has failed, or the kit was used in a way that cannot work. The text states the virtual time and the
    reason."""


class VirtualLoop(asyncio.SelectorEventLoop):
    """The asyncio loop of one simulated host. It runs after each turn of the host, every 200 ms, until nothing is left to
    do at this moment. It watches no descriptor but the library's."""

    def __init__(self, now: Callable[[], float]) -> None:
        super().__init__()
        self._now = now
        self._turn: Optional[Callable[[], Any]] = None
        self._busy = False

    def time(self) -> float:
        """Virtual time in seconds."""
        return self._now()

    def call_soon(self, callback: Callable[..., Any], *args: Any, context: Any = None) -> asyncio.Handle:
        self._busy = True
        return super().call_soon(callback, *args, context=context)

    def add_reader(self, fd: Any, callback: Callable[..., Any], *args: Any) -> None:
        self._turn = lambda: callback(*args)

    def remove_reader(self, fd: Any) -> bool:
        found, self._turn = self._turn is not None, None
        return found

    def advance(self, after_turn: bool) -> None:
        """Runs everything that is due."""
        if after_turn and self._turn is not None:
            self.call_soon(self._turn)
        self._busy = True
        while self._busy:
            super().call_soon(self.stop)
            self._busy = False
            self.run_forever()


class TestHost:
    """One simulated process of a test, with a library of its own. While it runs, ``code`` is
    the object of its code, or ``loop`` the loop of its coroutine."""

    def __init__(self, site: Site, name: str, make: Callable[[], HostCode]) -> None:
        self._site = site
        self._make = make
        self.process = Process()
        self.loop: Optional[VirtualLoop] = None
        self._task: Optional[asyncio.Task[Any]] = None
        self.name = name
        self.code: Any = None
        self.running = False
        self.number = -1
        self._callbacks = [site.guarded(each, self) for each in (self._begin, self._after_turn, self._end)]

    @property
    def done(self) -> bool:
        """True if its coroutine has ended. The process goes on until it is killed."""
        return self._task is not None and self._task.done()

    def kill(self) -> None:
        """Ends the process as ``kill -9`` does. Its coroutines are cancelled, but nothing that they ask of the library has
        an effect. Does nothing if the process does not run."""
        self._site.call(C.test_kill, self.number)

    def start(self) -> None:
        """Starts the process again, with a fresh library and fresh code. Raises TestFailed if it runs."""
        self._site.call(C.test_start, self.number)

    def inside(self, function: Callable[[], _Result]) -> _Result:
        """Calls a function inside the host, so that a QuarnSocket that it creates belongs to the host."""
        results: List[_Result] = []
        self._site.call(C.test_inside, self.number, self._site.guarded(lambda: results.append(function()), self), None)
        return results[0]

    def make_folder(self, path: bytes) -> None:
        """Creates a folder for files, such as logs, that the process writes through the library."""
        self._site.call(C.test_make_folder, self.number, *string(path))

    def file(self, path: bytes) -> bytes:
        """The content of such a file, ``b""`` if there is none. Files survive the process."""
        content = TYPES["text"]()
        self._site.call(C.test_file, self.number, *string(path), byref(content))
        return ctypes.string_at(content.bytes or 0, content.length)

    def _begin(self) -> None:
        self.running = True
        made = self._make()
        if not asyncio.iscoroutine(made):
            self.code = made
            return
        self.loop = VirtualLoop(self._site.now)
        self._task = self.loop.create_task(made)
        self._advance(after_turn=False)

    def _after_turn(self) -> None:
        if self.loop is not None:
            self._advance(after_turn=True)
        elif hasattr(self.code, "after_turn"):
            self.code.after_turn()

    def _advance(self, after_turn: bool) -> None:
        assert self.loop is not None and self._task is not None
        self.loop.advance(after_turn)
        if self._task.done() and not self._task.cancelled():
            self._task.result()

    def _end(self) -> None:
        self.running = False
        if self.loop is not None and self._task is not None:
            for task in asyncio.all_tasks(self.loop):
                task.cancel()
            self.loop.advance(after_turn=False)
            self.loop.close()
        self.loop = self._task = self.code = None
        for instance in list(self.process.instances):
            instance.close()
        self.process.texts = self.process.host = None


class Fault:
    """A fault that lasts until its ``with`` statement or :meth:`end`."""

    def __init__(self, site: Site, number: int) -> None:
        self._site = site
        self._number = number

    def end(self) -> None:
        """Ends the fault; nothing if it has ended."""
        self._site.call(C.test_end_fault, self._number)

    def __enter__(self) -> Fault:
        return self

    def __exit__(self, kind: Optional[Type[BaseException]], error: Optional[BaseException],
                 trace: Optional[TracebackType]) -> None:
        self.end()


class Site:
    """The hosts of one test, their network and their time, which starts at 2030-01-01 00:00:00 UTC."""

    def __init__(self) -> None:
        self.at: Any = None  #: None after the end of the test
        self._now = TYPES["int64"]()
        self._problem: Optional[BaseException] = None
        self._hosts: List[TestHost] = []  # with the callbacks, which the library calls

    def add(self, name: str, make: Callable[[], HostCode]) -> TestHost:
        """Adds a host and starts it. ``make`` is called inside the host at each start. It returns the object with the
        host's code, whose method ``after_turn``, if it has one, is called after each turn of the loop, every 200 ms; or it
        is a coroutine function, which runs in an asyncio loop of its own in virtual time. All hosts are on one machine."""
        host = TestHost(self, name, make)
        struct = new("test_host")
        struct.start, struct.after_turn, struct.end = host._callbacks
        self._hosts.append(host)
        number = TYPES["int32"]()
        self.call(C.test_add, *string(name.encode()), byref(struct), byref(number))
        host.number = number.value
        return host

    # Faults. Each lasts until its "with" statement or its end.

    def silence(self, one: TestHost, other: TestHost) -> Fault:
        """Frames between the two hosts are lost: connections stay, and calls get no answer."""
        return self._fault(0, one, other)

    def one_way(self, sender: TestHost, receiver: TestHost) -> Fault:
        """The same from ``receiver`` to ``sender`` only."""
        return self._fault(1, sender, receiver)

    def hold(self, one: TestHost, other: TestHost) -> Fault:
        """Frames between the two hosts wait until the fault ends, and then arrive in order."""
        return self._fault(2, one, other)

    def refusal(self, called: TestHost) -> Fault:
        """Calls to the links of ``called`` are refused."""
        return self._fault(3, called, called)

    def reset(self, one: TestHost, other: TestHost) -> Fault:
        """Connections between the two hosts are reset, and each new one. ``reset(...).end()`` resets once."""
        return self._fault(4, one, other)

    def damage(self, sender: TestHost, receiver: TestHost, per_thousand: int = 1000) -> Fault:
        """Of a thousand frames from ``sender`` to ``receiver``, so many (1 to 1000) have a changed bit."""
        return self._fault(5, sender, receiver, per_thousand)

    def stall(self, host: TestHost) -> Fault:
        """The host does not turn its loop."""
        return self._fault(6, host, host)

    def clock(self, host: TestHost, seconds: float) -> Fault:
        """The system's clock of the host is set by ``seconds``, and set back at the end."""
        return self._fault(7, host, host, round(seconds * 1000))

    # Time.

    def now(self) -> float:
        """Virtual time in seconds since 1970-01-01 UTC."""
        if self.at is not None:
            self.call(C.test_now, byref(self._now))
        return float(self._now.value) / 1000

    def run(self, seconds: float) -> None:
        """Lets time pass."""
        self.call(C.test_run, milliseconds(seconds))

    def run_until(self, condition: Callable[[], object], within: float) -> None:
        """Lets time pass until ``condition()`` is true, which is called after each event. Raises TestFailed if that takes
        more than ``within`` seconds."""
        def look(_: object) -> int:
            try:
                return 1 if condition() else 0
            except BaseException as problem:
                self._problem = problem
                return 1
        self.call(C.test_run_until, _CODE(look), None, milliseconds(within))

    def settle(self) -> None:
        """Lets time pass until each link is closed, or is connected and nothing waits. Raises TestFailed after 3
        minutes."""
        self.call(C.test_settle)

    def nothing_more_happens(self) -> None:
        """Lets 2 minutes pass. Raises TestFailed if a host receives anything, or a link goes up or down."""
        self.call(C.test_nothing_more_happens)

    # For the other classes.

    def guarded(self, code: Callable[[], Any], host: Optional[TestHost] = None) -> Any:
        """A callback that keeps the exception of the code for the call around it."""
        def run(_: object) -> int:
            before = Process.current
            if host is not None:
                Process.current = host.process
            try:
                code()
            except BaseException as problem:
                self._problem = self._problem or problem
            finally:
                Process.current = before
            return 0 if self._problem is None else 1
        return _CODE(run)

    def call(self, function: Callable[..., int], *arguments: Any) -> None:
        """Calls the kit, and raises the exception of the host's or the test's code that it ran."""
        try:
            call_process(function, self.at, *arguments)
        except Failure as failure:
            if self._problem is None:
                raise TestFailed(failure.description) from None
        if self._problem is not None:
            problem, self._problem = self._problem, None
            raise problem

    def _fault(self, kind: int, one: TestHost, other: TestHost, amount: int = 0) -> Fault:
        number = TYPES["int32"]()
        self.call(C.test_fault, kind, one.number, other.number, amount, byref(number))
        return Fault(self, int(number.value))


def simulate(test: Callable[[Site], object], *, seed: int = 1, twice: bool = False, rare_runs: int = 0,
             recordings: str = ".") -> None:
    """Runs a test on a site without hosts. If it fails, prints the seed, keeps the recordings of all hosts in a new folder
    below ``recordings``, and raises the exception that ended it. ``twice`` runs it twice and compares everything that the
    libraries did. With ``rare_runs`` it runs so often, with the seeds from ``seed`` on, and rare outcomes happen. The
    environment variables QUARNEX_TEST_SEED, _TWICE, _RARE and _RECORDINGS override them."""
    problems: List[BaseException] = []
    sites: List[Site] = []

    def body(at: int, _: object) -> int:
        site = Site()
        sites.append(site)
        site.at = at
        try:
            test(site)
            return 0
        except BaseException as problem:
            problems.append(problem)
            return 1
        finally:
            site.at = None
    struct = new("test_settings")
    struct.seed, struct.twice, struct.rare_runs = seed, twice, rare_runs
    folder = ctypes.c_char_p(recordings.encode())
    struct.recordings.bytes, struct.recordings.length = ctypes.cast(folder, ctypes.c_void_p), len(recordings.encode())
    try:
        call_process(C.test_simulate, byref(struct), _BODY(body), None)
    except Failure as failure:
        raise problems[0] if problems else TestFailed(failure.description) from None
