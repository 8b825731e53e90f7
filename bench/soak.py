#!/usr/bin/python3
"""A day's worth of a hundred printers in an hour: what the program holds and does, minute by minute.

usage: soak.py BUILD [--minutes N] [--seed N] [--out DIRECTORY] [--resume] [--json FILE]

BUILD is a build tree (build/release). The printers are simulated: 75 over SNMP v1 and v2c, a third of them on a bad
network, 20 over SNMPv3 (Debian's snmpd) and 5 over IPP. Jobs, empty toners and trays, jams, printers
that are switched off and on, networks that get worse and better come as often in the --minutes (60) as in a day of 24
hours, the same ones for the same seed. The program watches all of them in its window on a display of its own, and
tarn-status --watch beside it tells how old each picture is.

Every ten seconds a line is added to DIRECTORY/samples.tsv (default build/soak): seconds, the life of the programs (each
--resume begins a new one), and of both programs anonymous memory (KiB), descriptors, threads and CPU time (s); requests
that reached the printers over SNMP v1 and v2c; printers that are on, of these online; the age (s) of the oldest picture of a printer
that is on, with a network in order and with any. --resume goes on where a run was broken off. In the end, and with
--resume of a run that is whole, come a table by the minute, DIRECTORY/soak.svg, and the figures with their bounds.
Exit status: 0 all bounds held, 3 one was missed.
"""

import argparse
import http.server
import json
import os
import pathlib
import random
import statistics
import struct
import sys
import threading
import time

HERE = pathlib.Path(__file__).resolve().parent
for place in ("tests/support", "tests/integration"):
    sys.path.insert(0, str(HERE.parent / place))
sys.path.insert(0, str(HERE))

SIM_PORT, USM_PORT, IPP_PORT = 16850, 16851, 16852
SIMULATED = [f"127.61.0.{i + 2}" for i in range(75)]
SECURED = [f"127.62.0.{i + 1}" for i in range(20)]
OVER_IPP = [f"127.63.0.{i + 1}" for i in range(5)]
SCENARIOS = ("colour", "mono", "red-black", "out-of-paper", "toner-low")

PAGES = "1.3.6.1.2.1.43.10.2.1.4.1.1|65"
LEVEL = "1.3.6.1.2.1.43.11.1.1.9.1.1|2"
STATUS = "1.3.6.1.2.1.25.3.5.1.1.1|2"
ERRORS = "1.3.6.1.2.1.25.3.5.1.2.1|4x"
NO_PAPER, JAM, IN_ORDER = "40", "04", "00"

# What happens to a simulated printer, and how often a day.
A_DAY = {"job": 200, "toner": 10, "no paper": 6, "jam": 2, "off": 2, "network": 4}
LASTS = {"no paper": 900, "jam": 1800, "off": 3600}  # seconds of the day
BAD_NETWORKS = ("loss=5", "loss=20,delay=20..300", "garbage=10,duplicate=20", "truncate=10,wrong-id=10", "delay=0..900")
DAY = 86400

WARM_UP = 120       # seconds of a life in which caches fill
EVERY = 10          # seconds between two samples
MOST_GROWTH = 1024  # KiB of anonymous memory after the warm-up
MOST_AGE = 6        # seconds, where the network is in order
MOST_DRIFT = 1.15   # of requests a printer and of CPU, the last third against the first

COLUMNS = ("seconds", "life", "kel_kib", "kel_fds", "kel_threads", "kel_cpu", "watch_kib", "watch_fds", "watch_threads",
           "watch_cpu", "requests", "on", "online", "oldest_good", "oldest")


def events(seed):
    """[(second of the day, printer, what)] in their order; what: one of A_DAY, or ("end", what)."""
    found = []
    for printer in SIMULATED:
        dice = random.Random(f"{seed} {printer}")
        for what, count in A_DAY.items():
            for _ in range(count):
                at = dice.uniform(0, DAY)
                found.append((at, printer, what, dice.random()))
                if what in LASTS:
                    found.append((at + LASTS[what], printer, f"end of {what}", 0.0))
    dice = random.Random(f"{seed} secured")
    found += [(dice.uniform(0, DAY), SECURED[0], "secured job", dice.random()) for _ in range(200)]
    found += [(dice.uniform(0, DAY), OVER_IPP[0], "ipp toner", dice.random()) for _ in range(100)]
    return sorted(found)


class IppPrinters:
    """One answer to Get-Printer-Attributes, at every address of the loopback network."""

    def __init__(self, port):
        self.pages, self.black, self.requests = 54321, 80, 0
        self._server = http.server.ThreadingHTTPServer(("0.0.0.0", port), self._handler())
        self._server.daemon_threads = True
        self._server.handle_error = lambda *_: None  # who asked may have gone
        threading.Thread(target=self._server.serve_forever, daemon=True).start()

    def _handler(printers):  # noqa: N805: the handler's self is another
        class Handler(http.server.BaseHTTPRequestHandler):
            protocol_version = "HTTP/1.1"

            def do_POST(self):
                asked = self.rfile.read(int(self.headers.get("Content-Length", 0)))
                body = printers.answer(asked[4:8])
                printers.requests += 1
                self.send_response(200)
                self.send_header("Content-Type", "application/ipp")
                self.send_header("Content-Length", str(len(body)))
                self.end_headers()
                self.wfile.write(body)

            def log_message(self, *_):
                pass

        return Handler

    def answer(self, request_id):
        def attribute(tag, name, *values):
            return b"".join(struct.pack(">BH", tag, 0 if i else len(name)) + (b"" if i else name)
                            + struct.pack(">H", len(value)) + value for i, value in enumerate(values))

        number = struct.Struct(">i").pack
        return (b"\x02\x00\x00\x00" + request_id + b"\x01" + attribute(0x47, b"attributes-charset", b"utf-8")
                + attribute(0x48, b"attributes-natural-language", b"en") + b"\x04"
                + attribute(0x41, b"printer-make-and-model", b"Lyra C310") + attribute(0x23, b"printer-state", number(3))
                + attribute(0x44, b"printer-state-reasons", b"none")
                + attribute(0x21, b"printer-impressions-completed", number(self.pages))
                + attribute(0x42, b"marker-names", b"Black Toner", b"Cyan Toner")
                + attribute(0x44, b"marker-types", b"toner", b"toner")
                + attribute(0x42, b"marker-colors", b"#000000", b"#00FFFF")
                + attribute(0x21, b"marker-levels", number(self.black), number(61)) + b"\x03")

    def stop(self):
        self._server.shutdown()
        self._server.server_close()


class World:
    """The printers, and which of them should be seen."""

    def __init__(self, directory):
        import agents
        from harness import ROOT, Simulator
        share = len(SIMULATED) // len(SCENARIOS)
        sources = [f"{ROOT / 'tests' / 'data' / name}.json@{SIMULATED[i * share]}*{share}"
                   for i, name in enumerate(SCENARIOS)]
        self.started = []
        self.simulator = self._keep(Simulator(SIM_PORT, "--web-port", "0", *sources))
        self.secured = self._keep(agents.UsmSnmpd(directory / "snmpd", SECURED[0], USM_PORT, more=SECURED[1:]))
        self.secured.start()
        self.ipp = self._keep(IppPrinters(IPP_PORT))
        self.pages = dict.fromkeys(SIMULATED, 20000)
        self.secured_pages = 54321
        self.off, self.bad = {}, set()
        self.changed_at = dict.fromkeys(SIMULATED, time.monotonic())
        for i, printer in enumerate(SIMULATED[::3]):
            self.disturb(printer, BAD_NETWORKS[i % len(BAD_NETWORKS)])

    def _keep(self, one):
        self.started.append(one)
        return one

    @staticmethod
    def configuration():
        import agents
        return {"default": {"port": SIM_PORT},
                "addresses": {**{where: {"port": USM_PORT, "version": "3", "user": "sha256aes"} for where in SECURED},
                              **{where: {"ipp": "ipp", "ippPort": IPP_PORT} for where in OVER_IPP}},
                "users": agents.users_for_tarn()}

    def disturb(self, printer, faults):
        self.simulator.ask(f"faults {printer} {faults}")
        self.changed_at[printer] = time.monotonic()
        (self.bad.discard if faults == "none" else self.bad.add)(printer)

    def happen(self, printer, what, chance):
        ask = self.simulator.ask
        if what == "job":
            self.pages[printer] += 1 + int(chance * 30)
            ask(f"set {printer} {PAGES}|{self.pages[printer]}")
        elif what == "toner":
            ask(f"set {printer} {LEVEL}|{int(chance * 100)}")
        elif what in ("no paper", "jam"):
            ask(f"set {printer} {ERRORS}|{NO_PAPER if what == 'no paper' else JAM}")
            ask(f"set {printer} {STATUS}|1")
        elif what in ("end of no paper", "end of jam"):
            ask(f"set {printer} {ERRORS}|{IN_ORDER}")
            ask(f"set {printer} {STATUS}|3")
        elif what in ("off", "end of off"):
            self.off[printer] = self.off.get(printer, 0) + (1 if what == "off" else -1)
            ask(f"{'off' if self.off[printer] > 0 else 'on'} {printer}")
            self.changed_at[printer] = time.monotonic()
        elif what == "network" and SIMULATED.index(printer) % 3 == 0:
            self.disturb(printer, "none" if chance < 0.3 else BAD_NETWORKS[int(chance * 100) % len(BAD_NETWORKS)])
        elif what == "secured job":
            self.secured_pages += int(chance * 30)
            try:
                self.secured.set("1.3.6.1.2.1.43.10.2.1.4.1.1", "u", self.secured_pages)
            except RuntimeError as error:  # on a busy machine the agent may be late; the next job sets it
                print(error, file=sys.stderr)
        elif what == "ipp toner":
            self.ipp.black = int(chance * 100)
            self.ipp.pages += 7

    def requests(self):
        return sum(self.simulator.requests(where) for where in SIMULATED)

    def settled(self, printer):
        """On for long enough that it has to be seen."""
        return self.off.get(printer, 0) <= 0 and time.monotonic() - self.changed_at.get(printer, 0) > 30

    def stop(self):
        for one in reversed(self.started):
            one.stop()


def process_figures(pid):
    """(anonymous KiB, descriptors, threads, CPU seconds)"""
    from measure import ProcessFigures
    root = pathlib.Path("/proc") / str(pid)
    figures = ProcessFigures(pid)
    return (round(figures.anonymous_mb() * 1e6 / 1024), len(list((root / "fd").iterdir())),
            len(list((root / "task").iterdir())), round(figures.cpu_seconds(), 3))


def sample(world, kel, watch, seconds, life):
    printers = watch.printers() or []
    seen = [one for one in printers if world.settled(one["ip"])]
    ages = {one["ip"]: one["age"] for one in seen if one.get("age") is not None}
    good = [age for where, age in ages.items() if where not in world.bad]
    for one in seen:
        if one["ip"] not in world.bad and (one["age"] or 0) > MOST_AGE:
            print(f"{seconds:.0f} s: {one['ip']} is {one['age']:.0f} s old, {'' if one['online'] else 'not '}online", file=sys.stderr)
    return (round(seconds, 1), life, *process_figures(kel.process.pid), *process_figures(watch.process.pid), world.requests(),
            len(seen), sum(bool(one["online"]) for one in seen), max(good, default=0.0), max(ages.values(), default=0.0))


def live(arguments, begun_at, life):
    """Runs until the day is over; samples go to the file as they come."""
    from harness import Desktop, Kel, Watch
    desktop = Desktop()
    world = kel = watch = None
    try:
        world = World(desktop.directory)
        everybody = SIMULATED + SECURED + OVER_IPP
        kel = Kel(desktop, "kel")
        (kel.directory / "config" / "tarn" / "tarn.json").write_text(json.dumps(world.configuration()))
        (kel.directory / "config" / "tarn" / "tarn.json").chmod(0o600)
        kel.set_list([(f"printer {i}", where) for i, where in enumerate(everybody)])
        kel.start()
        watch = Watch(desktop.directory / "watch", SIM_PORT, *everybody, config=world.configuration())
        whole = arguments.minutes * 60
        coming = [event for event in events(arguments.seed) if event[0] / DAY * whole > begun_at]
        start, next_sample = time.monotonic() - begun_at, begun_at + EVERY
        with open(arguments.out / "samples.tsv", "a", encoding="utf-8") as file:
            while (now := time.monotonic() - start) < whole:
                watch.printers()  # read what it says, so that it is never kept waiting
                if kel.process.poll() is not None or watch.process.poll() is not None:
                    raise SystemExit(f"a program ended: kel {kel.process.poll()}, tarn-status {watch.process.poll()}")
                while coming and coming[0][0] / DAY * whole <= now:
                    world.happen(*coming.pop(0)[1:])
                if now >= next_sample:
                    print(*sample(world, kel, watch, now, life), sep="\t", file=file, flush=True)
                    next_sample += EVERY
                time.sleep(0.05)
    finally:
        for one in (watch, kel, world):
            if one is not None:
                one.stop()
        desktop.close()


def read_samples(out):
    try:
        lines = (out / "samples.tsv").read_text(encoding="utf-8").splitlines()
    except OSError:
        return []
    return [dict(zip(COLUMNS, map(float, line.split("\t")))) for line in lines if line.count("\t") == len(COLUMNS) - 1]


def rates(rows, column):
    """[(seconds, what was added a minute)] of a column that only counts up, within each life."""
    return [(b["seconds"], (b[column] - a[column]) / (b["seconds"] - a["seconds"]) * 60)
            for a, b in zip(rows, rows[1:]) if a["life"] == b["life"]]


def settled_lives(rows):
    """The rows of each life behind its warm-up; what is too short for a comparison is left out."""
    lives = {}
    for row in rows:
        lives.setdefault(row["life"], []).append(row)
    lives = [[row for row in life if row["seconds"] - life[0]["seconds"] >= WARM_UP] for life in lives.values()]
    return [life for life in lives if len(life) >= 18]


def table(rows):
    print("minute  kel KiB fds thr   watch KiB fds thr   requests/min CPU ms/min  on online  oldest good any")
    for minute in range(int(rows[-1]["seconds"] // 60) + 1):
        part = [row for row in rows if row["seconds"] // 60 == minute]
        if len(part) > 1:
            last = part[-1]
            sent = statistics.mean(rate for _, rate in rates(part, "requests") or [(0, 0)])
            cpu = statistics.mean(rate for _, rate in rates(part, "kel_cpu") or [(0, 0)]) * 1000
            print(f"{minute:6d} {last['kel_kib']:8.0f} {last['kel_fds']:3.0f} {last['kel_threads']:3.0f}"
                  f" {last['watch_kib']:11.0f} {last['watch_fds']:3.0f} {last['watch_threads']:3.0f} {sent:14.0f} {cpu:10.0f}"
                  f" {last['on']:3.0f} {last['online']:6.0f} {max(row['oldest_good'] for row in part):12.1f}"
                  f" {max(row['oldest'] for row in part):3.0f}")


def plot(rows, path):
    """Five curves below each other, each from zero to a little above its largest value."""
    curves = [("kel, anonymous memory, KiB", [(row["seconds"], row["kel_kib"]) for row in rows]),
              ("kel, descriptors", [(row["seconds"], row["kel_fds"]) for row in rows]),
              ("kel, threads", [(row["seconds"], row["kel_threads"]) for row in rows]),
              ("requests a minute that reached the printers over SNMP v1 and v2c", rates(rows, "requests")),
              ("kel, CPU, s a minute", rates(rows, "kel_cpu")),
              ("oldest picture, network in order, s", [(row["seconds"], row["oldest_good"]) for row in rows])]
    width, height, left = 900, 110, 70
    end = rows[-1]["seconds"]
    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height * len(curves)}" '
             'font-family="sans-serif" font-size="12"><rect width="100%" height="100%" fill="white"/>']
    for i, (title, points) in enumerate(curves):
        top = i * height
        most = max((value for _, value in points), default=1) * 1.1 or 1
        line = " ".join(f"{left + x / end * (width - left - 10):.1f},{top + height - 20 - y / most * (height - 40):.1f}"
                        for x, y in points)
        parts.append(f'<text x="{left}" y="{top + 14}">{title}</text><text x="4" y="{top + 32}">{f"{most:.0f}" if most >= 100 else f"{most:.3g}"}</text>'
                     f'<text x="4" y="{top + height - 20}">0</text><path d="M{left},{top + 20}v{height - 40}h{width - left - 10}" '
                     f'fill="none" stroke="gray"/><polyline points="{line}" fill="none" stroke="black"/>')
    path.write_text("".join(parts) + "</svg>\n", encoding="utf-8")


def judge(rows, json_file):
    """Each figure with its bound; whether all of them held."""
    from measure import Results
    lives = settled_lives(rows)
    if not lives:
        raise SystemExit("too short to be judged: five minutes at least")
    results = Results()

    def both_ends(life, column):
        return statistics.median(row[column] for row in life[:6]), statistics.median(row[column] for row in life[-6:])

    for who in ("kel", "watch"):
        name = {"kel": "kel", "watch": "tarn-status --watch"}[who]
        for column, unit, bound in (("kib", "KiB", MOST_GROWTH), ("fds", "", 0), ("threads", "", 0)):
            growth = [b - a for a, b in (both_ends(life, f"{who}_{column}") for life in lives)]
            what = {"kib": "anonymous memory", "fds": "descriptors", "threads": "threads"}[column]
            results.add(f"{name}: growth of {what} after two minutes", max(growth), unit, bound)
    for column, what in (("requests", "requests"), ("kel_cpu", "CPU of kel")):
        longest = [rate for _, rate in rates(max(lives, key=len), column)]
        third = len(longest) // 3
        results.add(f"{what} a minute, last third", statistics.mean(longest[-third:]), "requests" if column == "requests" else "s",
                    None, "first third", statistics.mean(longest[:third]), MOST_DRIFT)
    settled = [row for life in lives for row in life]
    results.add("oldest picture of a printer whose network is in order", max(row["oldest_good"] for row in settled), "s", MOST_AGE)
    results.add("printers that are on and not online, at most", max(row["on"] - row["online"] for row in settled), "")
    if json_file:
        results.write(json_file)
    return all((row["bound"] is None or row["value"] <= row["bound"]) and
               (row["ratioBound"] is None or row["ratio"] <= row["ratioBound"]) for row in results.rows)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("--minutes", type=float, default=60)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--out", type=pathlib.Path, default=pathlib.Path("build/soak"))
    parser.add_argument("--resume", action="store_true")
    parser.add_argument("--json", type=pathlib.Path)
    arguments = parser.parse_args()
    os.environ["KEL_BUILD"] = str(arguments.build.resolve())
    arguments.out = arguments.out.resolve()
    arguments.out.mkdir(parents=True, exist_ok=True)
    if not arguments.resume:
        (arguments.out / "samples.tsv").write_text("", encoding="utf-8")
    earlier = read_samples(arguments.out)
    begun_at, life = (earlier[-1]["seconds"], int(earlier[-1]["life"]) + 1) if earlier else (0.0, 1)
    if begun_at + EVERY < arguments.minutes * 60:
        import private_tmp
        private_tmp.enter(arguments.build.resolve(), arguments.out)
        live(arguments, begun_at, life)
    rows = read_samples(arguments.out)
    table(rows)
    plot(rows, arguments.out / "soak.svg")
    return 0 if judge(rows, arguments.json) else 3


if __name__ == "__main__":
    sys.exit(main())
