"""Records everything that enters and leaves the library into a file, for ``quarn replay``."""
from __future__ import annotations

import os
from ctypes import byref
from typing import Any, Callable, Union

from ._library import C, call_process, milliseconds, new, settings, string
from .values import FileLosses, value


def record_flight(path: Union[str, bytes, os.PathLike[str]], *, bytes_max: int = 0, group_may_read: bool = False,
                  must_be_new: bool = False) -> None:
    """Records the process's library from its first call on; call it before every other one. An existing file is emptied,
    or with ``must_be_new`` refused (58). The recording ends at ``bytes_max`` bytes, by default 4 GiB. A name that ends in
    ".gz" is compressed.

    Raises Failure 5 if the library is in use, 76 (path not found), 70 (permission denied), 61 (disk full), 53 (no zlib)
    or 75 (other).
    """
    kept = settings("recording_settings", bytes_max=bytes_max, group_may_read=group_may_read, must_be_new=must_be_new)
    call_process(C.record_flight, *string(os.fsencode(path)), byref(kept))


def flight_losses() -> FileLosses:
    """Lines dropped from the recording so far because the disk was full or too slow."""
    return _losses(C.flight_losses)


def flush_flight(seconds: float) -> FileLosses:
    """Waits until everything recorded so far is in the file or dropped, at most ``seconds``, and returns what is
    missing."""
    return _losses(C.flush_flight, milliseconds(seconds))


def _losses(function: Callable[..., int], *arguments: Any) -> FileLosses:
    struct = new("file_losses")
    call_process(function, *arguments, byref(struct))
    return value(FileLosses, struct)
