"""What printers say, as values."""

from __future__ import annotations

import dataclasses
import enum
from typing import Any, Mapping


class State(enum.Enum):
    """The state of a printer."""

    OTHER = 1
    UNREACHABLE = 2
    IDLE = 3
    PRINTING = 4
    WARMUP = 5


@dataclasses.dataclass(frozen=True)
class Printer:
    """One that nobody had to name."""

    name: str
    model: str
    is_usb: bool


@dataclasses.dataclass(frozen=True)
class Supply:
    """A toner, a drum, a waste bottle ..."""

    kind: str  # toner, drum, developer, fuser, transfer, cleaner, waste, staples, other
    colour: str  # black, cyan, magenta, yellow, red, none, or a name of the printer's own
    percent: int | None  # None where the printer gives no number
    is_some_left: bool  # it gives none, but says that some is left
    is_receptacle: bool  # it is filled rather than used up
    description: str


@dataclasses.dataclass(frozen=True)
class Tray:
    """An input tray."""

    name: str
    percent: int | None
    level: int | None  # in units
    capacity: int | None
    unit: str
    is_available: bool
    is_empty: bool  # says so itself


@dataclasses.dataclass(frozen=True)
class Alert:
    """Something that is wrong, or worth a remark."""

    code: str  # a keyword that does not depend on the language
    number: int | None  # prtAlertCode of the Printer MIB
    severity: str  # critical, warning, other
    text: str  # in Chinese where the code is known, else the printer's own
    place: str


@dataclasses.dataclass(frozen=True)
class Status:
    """All that is known of a printer at one moment. Of one that is not online, what it said last."""

    address: str  # as it was given
    online: bool
    age: float | None  # seconds since its last answer; None: it never answered
    state: State
    needs_attention: bool
    model: str
    serial: str
    description: str
    location: str
    pages: int | None  # None where the printer does not count, or does not say
    paper_low: bool
    paper_out: bool
    toner_low: bool
    toner_out: bool
    supplies: tuple[Supply, ...]
    trays: tuple[Tray, ...]
    alerts: tuple[Alert, ...]
    source: str  # the way the state came: sm (SNMP), ipp, smusb (USB), cups; "" where none did

    def is_like(self, other: Status) -> bool:
        """Whether both say the same, whenever that was."""
        return dataclasses.replace(self, age=None) == dataclasses.replace(other, age=None)


def _text(value: Any) -> str:
    return value if isinstance(value, str) else ""


def _number(value: Any) -> int | None:
    return value if isinstance(value, int) and not isinstance(value, bool) else None


def _supply(item: Mapping[str, Any]) -> Supply:
    return Supply(kind=_text(item.get("class")), colour=_text(item.get("colour")), percent=_number(item.get("percent")),
                  is_some_left=item.get("percent") == "some", is_receptacle=item.get("receptacle") is True,
                  description=_text(item.get("description")))


def _tray(item: Mapping[str, Any]) -> Tray:
    return Tray(name=_text(item.get("name")), percent=_number(item.get("percent")), level=_number(item.get("level")),
                capacity=_number(item.get("capacity")), unit=_text(item.get("unit")),
                is_available=item.get("available") is True, is_empty=item.get("empty") is True)


def _alert(item: Mapping[str, Any]) -> Alert:
    return Alert(code=_text(item.get("code")), number=_number(item.get("number")), severity=_text(item.get("severity")),
                 text=_text(item.get("text")), place=_text(item.get("place")))


def status_of(address: str, state: int, pages: int, serial: str, info: Mapping[str, str],
              detail: Mapping[str, Any]) -> Status:
    """A status from what the C interface hands out."""
    age = int(info.get("age", "-1"))
    return Status(
        address=address, online=info.get("online") == "1", age=None if age < 0 else age / 1000, state=State(state),
        needs_attention=detail.get("needsAttention") is True, model=_text(detail.get("model")), serial=serial,
        description=_text(detail.get("description")), location=_text(detail.get("location")),
        pages=None if pages < 0 else pages, paper_low=info.get("lessPaper") == "1", paper_out=info.get("lackPaper") == "1",
        toner_low=info.get("lessToner") == "1", toner_out=info.get("lackToner") == "1",
        supplies=tuple(map(_supply, detail.get("supplies", ()))), trays=tuple(map(_tray, detail.get("trays", ()))),
        alerts=tuple(map(_alert, detail.get("alerts", ()))), source=info.get("source", ""))
