"""The C interface of libtarn, by ctypes; tarn.h describes it."""

from __future__ import annotations

import atexit
import ctypes
import ipaddress
import json
import os
import pathlib
import threading
from typing import Any, Callable, Sequence

from ._status import Printer, Status, status_of

_OK = 0
_OPEN_DETAIL = 1
_CODES = {1: "a wrong argument", 2: "the library is not running", 3: "no such printer", 4: "a document that it does not take",
          5: "out of memory", 6: "the system refused a thread or a socket", 7: "switched off"}
_FILE = "libtarn.so"
_SONAME = _FILE + ".0"
# Beside this package where it is installed with the program, then where the program is.
_PLACES = (pathlib.Path(__file__).resolve().parent.parent.parent / "lib", pathlib.Path("/usr/lib/kel/lib"))


class TarnError(Exception):
    """The library refused; code is one of the TARN_E_... of tarn.h."""

    def __init__(self, what: str, code: int = 0) -> None:
        super().__init__(f"{what}: {_CODES.get(code, code)}" if code else what)
        self.code = code


def _load() -> ctypes.CDLL:
    """From TARN_DIR where that is set, else from beside the package, else from where the dynamic linker looks."""
    directory = os.environ.get("TARN_DIR")
    if directory is not None:
        return ctypes.CDLL(os.path.join(directory, _FILE))
    for place in _PLACES:
        if (place / _FILE).exists():
            return ctypes.CDLL(str(place / _FILE))
    return ctypes.CDLL(_SONAME)


def _declare(library: ctypes.CDLL) -> None:
    text, handle, number = ctypes.POINTER(ctypes.c_void_p), ctypes.POINTER(ctypes.c_void_p), ctypes.POINTER(ctypes.c_int)
    signatures: dict[str, list[Any]] = {
        "tarn_init": [], "tarn_destroy": [], "tarn_freeStr": [text], "tarn_getPrinterList": [text],
        "tarn_freePrinterList": [text], "tarn_openPrinter": [ctypes.c_char_p, handle, ctypes.c_int, ctypes.c_int],
        "tarn_closePrinter": [handle], "tarn_getVersion": [text], "tarn_getTotalPages": [ctypes.c_void_p, number],
        "tarn_getSerialNumber": [ctypes.c_void_p, text], "tarn_getState": [ctypes.c_void_p, number],
        "tarn_getInfo": [ctypes.c_void_p, text], "tarn_setOptions": [ctypes.c_char_p],
        "tarn_setPrinterList": [ctypes.c_char_p]}
    for name, arguments in signatures.items():
        function = getattr(library, name)
        function.argtypes = arguments
        function.restype = ctypes.c_int


class Library:
    """libtarn, started. One a process, as the library itself is.

    Threading: any thread.
    """

    _shared: Library | None = None
    _shared_lock = threading.Lock()
    _is_forked = False

    @classmethod
    def shared(cls) -> Library:
        """The one of this process, started where it is not."""
        if cls._is_forked:
            raise TarnError("the library is that of the parent process: it does not survive os.fork()")
        with cls._shared_lock:
            if cls._shared is None:
                cls._shared = cls()
            return cls._shared

    @classmethod
    def close_shared(cls) -> None:
        with cls._shared_lock:
            if cls._shared is not None and not cls._is_forked:
                cls._shared._c.tarn_destroy()
            cls._shared = None

    @classmethod
    def forked(cls) -> None:
        """In the child: its threads are gone."""
        cls._is_forked = cls._is_forked or cls._shared is not None
        cls._shared_lock = threading.Lock()

    def __init__(self) -> None:
        self._c = _load()
        _declare(self._c)
        self._lock = threading.Lock()  # guards what follows
        self._addresses: dict[str, None] = {}  # all that were ever named, in their order
        self._options = {"enable_cache": False, "enable_usb_printer_discovery": False, "enable_cups_printer": False}
        self._demand(self._c.tarn_init(), "starting the library")
        self._send_options()

    def version(self) -> str:
        return self._text(self._c.tarn_getVersion)

    def discover(self, *, usb: bool, cups: bool) -> None:
        """Looks for such printers from now on; what is looked for already stays so."""
        with self._lock:
            wanted = {"enable_usb_printer_discovery": usb, "enable_cups_printer": cups}
            if any(on and not self._options[name] for name, on in wanted.items()):
                self._options.update({name: True for name, on in wanted.items() if on})
                self._send_options()

    def name(self, printers: Sequence[str | Printer]) -> list[str]:
        """Has the library ask those of them that are addresses; their names there."""
        names = [printer.name if isinstance(printer, Printer) else str(ipaddress.IPv4Address(printer))
                 for printer in printers]
        new = [name for name, printer in zip(names, printers) if not isinstance(printer, Printer)]
        with self._lock:
            if any(name not in self._addresses for name in new):
                self._addresses.update(dict.fromkeys(new))
                rows = [{"printerName": name, "ip": name} for name in self._addresses]
                self._demand(self._c.tarn_setPrinterList(json.dumps(rows).encode()), "naming the printers")
        return names

    def printers(self) -> list[Printer]:
        """Those that were discovered."""
        with self._lock:
            named = len(self._addresses)
            rows = json.loads(self._text(self._c.tarn_getPrinterList, self._c.tarn_freePrinterList))
        return [Printer(row["printerName"], row["model"], row["isUsbPrinter"]) for row in rows[named:]]

    def status(self, name: str) -> Status:
        handle = ctypes.c_void_p()
        self._demand(self._c.tarn_openPrinter(name.encode(), ctypes.byref(handle), _OPEN_DETAIL, 0), f"opening {name}")
        try:
            state, pages = ctypes.c_int(), ctypes.c_int()
            self._demand(self._c.tarn_getState(handle, ctypes.byref(state)), "reading a state")
            self._demand(self._c.tarn_getTotalPages(handle, ctypes.byref(pages)), "reading a counter")
            serial = self._text(lambda out: int(self._c.tarn_getSerialNumber(handle, out)))
            info = json.loads(self._text(lambda out: int(self._c.tarn_getInfo(handle, out))))
        finally:
            self._c.tarn_closePrinter(ctypes.byref(handle))
        return status_of(name, state.value, pages.value, serial, info, json.loads(info.get("detail", "{}")))

    def _send_options(self) -> None:
        self._demand(self._c.tarn_setOptions(json.dumps(self._options).encode()), "setting the options")

    def _text(self, getter: Callable[[Any], int], free: Callable[[Any], int] | None = None) -> str:
        """A text that the library hands out, given back to it."""
        out = ctypes.c_void_p()
        self._demand(getter(ctypes.byref(out)), "reading")
        try:
            return ctypes.string_at(out.value).decode() if out.value else ""
        finally:
            (free or self._c.tarn_freeStr)(ctypes.byref(out))

    @staticmethod
    def _demand(code: int, what: str) -> None:
        if code != _OK:
            raise TarnError(what, code)


os.register_at_fork(after_in_child=Library.forked)
atexit.register(Library.close_shared)
