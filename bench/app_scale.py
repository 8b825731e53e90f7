#!/usr/bin/python3
"""The program with many printers, measured from outside and by an event-loop probe, beside an empty Qt window.

usage: app_scale.py BUILD [--json FILE] [--seconds N] [--rounds N] [--printers N ...]

BUILD is a build tree (build/release) with kel, bare_window, printer-sim and the remote-control plugin. The values of
the simulated printers change all the time. The empty window runs in the same time, for the machine's own noise.
"""

import argparse
import fcntl
import pathlib
import subprocess
import sys
import tempfile
import time

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent / "tests" / "support"))
sys.path.insert(0, str(HERE))
from desktop import running, x_server  # noqa: E402
from kel_driver import DriverError, Kel, wait_for  # noqa: E402
from measure import ProcessFigures, Results, median  # noqa: E402

SIM_PORT = 16748
BOUNDS = {  # printers: event-loop p99 above the empty window's (ms), CPU (% of a core), resident memory (MiB)
    10: (4, 6, 140),
    1000: (4, 6, 140),
    10000: (16, 60, 140),
}


class BareWindow(Kel):
    """The empty window, driven like the program."""

    def spawn(self):
        self.socket_path.unlink(missing_ok=True)
        self.process = subprocess.Popen([str(self.build / "bin" / "bare_window")], env=self.environment,
                                        stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def addresses(count):
    for i in range(count):
        yield f"127.{48 + i // 62500}.{i // 250 % 250}.{i % 250 + 1}"


def wait_until_live(kel, count):
    """All rows there, and nine in ten of them green: their printers have answered."""
    begun = time.monotonic()
    wait_for(lambda: int(kel.ask("count listPrinter")) >= count, 120, f"{count} rows")
    rows_at = time.monotonic() - begun

    def mostly_live():
        time.sleep(1)
        rows = kel.ask("rows listPrinter")
        grey = rows[0]["icon"] if not kel.ask("text lbID") else None
        icons = [row["icon"] for row in rows]
        return grey is None and max(icons.count(icon) for icon in set(icons)) >= 0.9 * count

    wait_for(mostly_live, 240, "live printers")
    return rows_at


def measure(build, scratch, display, count, arguments, results):
    config = scratch / "tarn.json"
    config.write_text('{"default": {"port": %d}}' % SIM_PORT)
    extra = {"QT_QPA_PLATFORM": "xcb", "DISPLAY": display, "TARN_CONFIG": str(config),
             "QT_XCB_GL_INTEGRATION": "none"}
    kel = Kel(build, scratch / f"kel-{count}", extra=extra)
    bare = BareWindow(build, scratch / f"bare-{count}", extra=extra)
    kel.set_list([(f"printer {i}", address, "") for i, address in enumerate(addresses(count))])
    first = next(addresses(1))
    scenario = HERE.parent / "tests" / "data" / "changing.json"
    try:
        with running([str(build / "bin" / "printer-sim"), "--port", str(SIM_PORT), "--web-port", "0", "--one-socket",
                      *sources(scenario, first, count)]) as sim:
            if not sim.stdout.readline().startswith("ready"):
                raise DriverError("printer-sim did not start")
            kel.start()
            bare.start()
            wait_until_live(kel, count)
            rounds = [one_round(kel, bare, arguments.seconds) for _ in range(arguments.rounds)]
            report(results, count, rounds, ProcessFigures(kel.process.pid).resident_mib())
            clicks(kel, count, results)
            kel.quit()
    finally:
        kel.kill()
        bare.kill()


def sources(scenario, first, count):
    """printer-sim counts its addresses upwards one by one; ours skip .0 and .251 to .255, so a source for each 250."""
    listed = list(addresses(count))
    return [f"{scenario}@{listed[i]}*{len(listed[i:i + 250])}" for i in range(0, count, 250)]


def one_round(kel, bare, seconds):
    """(CPU, context switches, own latencies, the empty window's), the latter two side by side. The probe wakes the
    program two hundred times a second, so CPU is measured without it, before."""
    cpu, switches = ProcessFigures(kel.process.pid).over(seconds)
    kel.ask("latency-start")
    bare.ask("latency-start")
    time.sleep(seconds)
    return cpu, switches, kel.ask("latency-finish"), bare.ask("latency-finish")


def report(results, count, rounds, resident):
    latency_bound, cpu_bound, memory_bound = BOUNDS.get(count, (None, None, None))
    above = median([max(0.0, own["p99"] - noise["p99"]) for _, _, own, noise in rounds]) / 1000
    results.add(f"event loop p99 above the empty window's, {count} printers", above, "ms", latency_bound,
                "empty window p99", max(median([noise["p99"] for _, _, _, noise in rounds]) / 1000, 0.001))
    results.add(f"event loop max, {count} printers", max(own["max"] for _, _, own, _ in rounds) / 1000, "ms", None,
                "empty window max", max(noise["max"] for _, _, _, noise in rounds) / 1000)
    results.add(f"CPU, {count} printers", median([cpu for cpu, _, _, _ in rounds]), "% of a core", cpu_bound)
    results.add(f"context switches, {count} printers", median([switches for _, switches, _, _ in rounds]), "1/s")
    results.add(f"resident memory, {count} printers", resident, "MiB", memory_bound)


def clicks(kel, count, results):
    """From making a row the current one to the answer that shows that printer's name, over the remote socket."""
    took = []
    for row in range(0, count, max(1, count // 10)):
        begun = time.monotonic()
        kel.ask(f"select listPrinter {row}")
        kel.ask("text lbPrinterIP")
        took.append((time.monotonic() - begun) * 1000)
    results.add(f"click on a row, {count} printers", median(took), "ms", 16.7)
    results.add(f"click on a row, {count} printers, worst of {len(took)}", max(took), "ms")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("--json", type=pathlib.Path)
    parser.add_argument("--seconds", type=float, default=6, help="of one round")
    parser.add_argument("--rounds", type=int, default=5)
    parser.add_argument("--printers", type=int, nargs="+", default=[10, 1000, 10000])
    arguments = parser.parse_args()
    results = Results()
    with open("/tmp/kel-tests.flock", "w") as lock, tempfile.TemporaryDirectory(prefix="kel-scale-") as scratch, \
            x_server() as display:
        fcntl.flock(lock, fcntl.LOCK_EX)
        for count in arguments.printers:
            measure(arguments.build.resolve(), pathlib.Path(scratch), display, count, arguments, results)
    if arguments.json:
        results.write(arguments.json)


if __name__ == "__main__":
    main()
