"""Reads printers: libtarn from Python.

    import tarn

    print(tarn.read("192.168.1.20").state)
    for status in tarn.watch(["192.168.1.20", "192.168.1.21"]):
        print(status.address, status.state, [alert.code for alert in status.alerts])

The library answers from memory: a thread of its own asks the printers. It starts with the first call and ends with the
process; close() ends it earlier. Every function may be called from any thread; after os.fork() only in the parent.
"""

from __future__ import annotations

import builtins
import time
from typing import Iterable, Iterator

from ._library import Library, TarnError
from ._status import Alert, Printer, State, Status, Supply, Tray

__all__ = ["Alert", "Printer", "State", "Status", "Supply", "TarnError", "Tray", "close", "list", "read", "read_all", "version",
           "watch"]

_LOOK = 0.05  # seconds between two looks at the library's memory while something is awaited
_DISCOVERY = 1.0  # until what is attached has been found
_FRESH = 30.0  # seconds; who was not asked for a minute is no longer, and its last answer may be old


def list(*, usb: bool = True, cups: bool = False, timeout: float = _DISCOVERY) -> builtins.list[Printer]:
    """The printers that nobody has to name: those on USB, and the queues of CUPS where cups is true.

    Waits so many seconds until they have been found.
    """
    library = Library.shared()
    library.discover(usb=usb, cups=cups)
    deadline = time.monotonic() + timeout
    while True:
        found = library.printers()
        left = deadline - time.monotonic()
        if left <= 0:
            return [printer for printer in found if (usb if printer.is_usb else cups)]
        time.sleep(min(_LOOK, left))


def read(printer: str | Printer, *, timeout: float = 6.0) -> Status:
    """What a printer says of itself.

    A printer is an IPv4 address or one that list() gave. Waits until it has answered, at most timeout seconds: who has not
    by then is not online. Raises ValueError for what is no address.
    """
    return read_all([printer], timeout=timeout)[0]


def read_all(printers: Iterable[str | Printer], *, timeout: float = 6.0) -> builtins.list[Status]:
    """What each of several printers says, in their order; they are waited for together."""
    library = Library.shared()
    names = library.name([*printers])
    deadline = time.monotonic() + timeout
    while True:
        statuses = [library.status(name) for name in names]
        if time.monotonic() >= deadline or all(_is_fresh(status) for status in statuses):
            return statuses
        time.sleep(_LOOK)


def watch(printers: Iterable[str | Printer], *, interval: float = 2.0, timeout: float = 6.0) -> Iterator[Status]:
    """The status of each printer, then again each time that it changes, without an end.

    Looks every interval seconds, which costs the printers nothing. What counts as a change is everything but the age of
    the last answer.
    """
    names = [*printers]
    last: dict[str, Status] = {}
    statuses = read_all(names, timeout=timeout)
    while True:
        for status in statuses:
            if status.address not in last or not last[status.address].is_like(status):
                last[status.address] = status
                yield status
        time.sleep(interval)
        statuses = read_all(names, timeout=0)


def version() -> str:
    """The version of the library."""
    return Library.shared().version()


def close() -> None:
    """Ends the library's threads. The next call of another function starts them again."""
    Library.close_shared()


def _is_fresh(status: Status) -> bool:
    return status.online and status.age is not None and status.age < _FRESH
