#!/usr/bin/python3
"""Light on the desktop: first window, memory, idle CPU and wake-ups, beside a bare Qt window and peers.

usage: desktop_bench.py BUILD [--json FILE] [--minute SECONDS] [--rounds N]

BUILD is a build tree (build/release) with kel, bare_window, printer-sim and the remote-control plugin. Peers that are
not installed are left out, and said so.
"""

import argparse
import fcntl
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import time

from Xlib import X, display as xdisplay

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent / "tests" / "support"))
sys.path.insert(0, str(HERE))
from desktop import end, session_bus, x_server  # noqa: E402
from kel_driver import Kel  # noqa: E402
from measure import ProcessFigures, Results, median  # noqa: E402

PEERS = {"system-config-printer": ["system-config-printer"], "hp-toolbox": ["hp-toolbox"]}
FIVE = [(f"p{i}", f"127.47.0.{i}", "") for i in range(1, 6)]
SIM_PORT = 16747


class MapWatcher:
    """Tells when the first real window of a program appears on a display without a window manager."""

    def __init__(self, display_name):
        self.display = xdisplay.Display(display_name)
        self.root = self.display.screen().root
        self.root.change_attributes(event_mask=X.SubstructureNotifyMask)
        self.display.sync()

    def drain(self):
        while self.display.pending_events():
            self.display.next_event()

    def first_map(self, seconds):
        """Monotonic time of the next mapped window of at least 100 x 60 pixels; None when none comes in time."""
        limit = time.monotonic() + seconds
        while time.monotonic() < limit:
            if not self.display.pending_events():
                time.sleep(0.0005)
                continue
            event = self.display.next_event()
            if event.type != X.MapNotify:
                continue
            now = time.monotonic()
            try:
                shape = event.window.get_geometry()
            except Exception:  # gone again
                continue
            if shape.width >= 100 and shape.height >= 60:
                return now
        return None


def cpu_seconds(pid):
    """CPU time of a process, with that of its threads that have ended: Linux's clock id of another process's CPU clock."""
    return time.clock_gettime(~pid << 3 | 2)


def start_time(watcher, spawn, seconds=30):
    """Milliseconds from starting a program to its first window, and its CPU time by then; None when no window came.
    The program is ended again."""
    watcher.drain()
    begun = time.monotonic()
    process = spawn()
    try:
        mapped = watcher.first_map(seconds)
        return None if mapped is None else ((mapped - begun) * 1000, cpu_seconds(process.pid) * 1000)
    finally:
        end(process)


def kel_run(build, directory, display, printers, sim_config, plugin=False):
    extra = {"QT_QPA_PLATFORM": "xcb", "DISPLAY": display,
             "DBUS_SESSION_BUS_ADDRESS": os.environ["DBUS_SESSION_BUS_ADDRESS"]}
    if sim_config:
        extra["TARN_CONFIG"] = str(sim_config)
    kel = Kel(build, directory, extra=extra)
    if not plugin:  # as its user starts it
        for name in ("QT_QPA_GENERIC_PLUGINS", "QT_PLUGIN_PATH", "KEL_REMOTE_SOCKET"):
            del kel.environment[name]
    kel.set_list(printers)
    return kel


def plain(command, display, directory):
    env = {"PATH": "/usr/sbin:/usr/bin:/sbin:/bin", "HOME": str(directory), "DISPLAY": display, "LANG": "C.UTF-8",
           "XDG_RUNTIME_DIR": str(directory), "QT_QPA_PLATFORM": "xcb",
           "DBUS_SESSION_BUS_ADDRESS": os.environ["DBUS_SESSION_BUS_ADDRESS"]}
    return subprocess.Popen(command, env=env, cwd=directory, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                            stderr=subprocess.DEVNULL)


def first_windows(build, scratch, display, rounds, results):
    watcher = MapWatcher(display)
    bare = [str(build / "bin" / "bare_window")]
    candidates = {"bare window": lambda: plain(bare, display, scratch)}

    def kel_start(printers, name):
        def spawn():
            kel = kel_run(build, scratch / name, display, printers, None)
            kel.spawn()
            return kel.process
        return spawn

    candidates["kel"] = kel_start([], "none")
    candidates["kel, one unmet address"] = kel_start([("new", "127.47.9.9", "")], "new")
    for name, command in PEERS.items():
        if shutil.which(command[0]):
            candidates[name] = lambda command=command: plain(command, display, scratch)
        else:
            print(f"{name}: not installed, left out")
    times = {name: [] for name in candidates}
    for turn in range(rounds + 1):  # the first turn warms the caches
        for name, spawn in candidates.items():
            shutil.rmtree(scratch / "new" / "cache", ignore_errors=True)
            took = start_time(watcher, spawn)
            if turn and took is not None:
                times[name].append(took)
    missing = [name for name, values in times.items() if not values]
    for name in missing:
        print(f"{name}: no window came, left out")
    cpu = {name: median([used for _, used in values]) for name, values in times.items() if values}
    times = {name: [took for took, _ in values] for name, values in times.items()}
    base = median(times["bare window"])
    own = median(times["kel"])
    results.add("first window, no printers", own, "ms", None, "bare window", base, 1.8)
    results.add("first window, one unmet address", median(times["kel, one unmet address"]), "ms", None, "bare window", base)
    results.add("CPU time of all threads by the first window", cpu["kel"], "ms", None, "bare window", cpu["bare window"])
    for name in PEERS:
        if times.get(name):
            peer = median(times[name])
            results.add(f"first window against {name}", own, "ms", None, name, peer, 0.15)


def idle(build, scratch, display, minute, results):
    sim = subprocess.Popen([str(build / "bin" / "printer-sim"), "--port", str(SIM_PORT), "--web-port", "0",
                            str(HERE.parent / "tests" / "data" / "colour.json") + "@127.47.0.1*5"],
                           stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
    config = scratch / "tarn.json"
    config.write_text('{"default": {"port": %d}}' % SIM_PORT)
    bare = plain([str(build / "bin" / "bare_window")], display, scratch)
    five = kel_run(build, scratch / "five", display, FIVE, config)
    none = None
    try:
        sim.stdout.readline()
        five.spawn()
        time.sleep(minute)
        base = ProcessFigures(bare.pid)
        figures = ProcessFigures(five.process.pid)
        # The rest of what is resident are pages of files, which the system takes back when it needs room.
        results.add("anonymous memory, five printers", figures.anonymous_mb(), "MB", 4.5, "bare window", base.anonymous_mb())
        results.add("resident memory, five printers", figures.resident_mib(), "MiB", None, "bare window", base.resident_mib())
        cpu, switches = figures.over(minute / 3)
        results.add("idle CPU, five printers", cpu, "% of a core", 0.3)
        results.add("wake-ups, five printers", switches, "1/s", 25)
        five.kill()
        none = kel_run(build, scratch / "zero", display, [], config)
        none.spawn()
        time.sleep(min(10, minute))
        cpu, switches = ProcessFigures(none.process.pid).over(minute / 3)
        results.add("wake-ups, no printers", switches, "1/s", 3)
        none.kill()
        hidden_cpu(build, scratch, display, config, minute, results)
    finally:
        five.kill()
        if none:
            none.kill()
        end(bare)
        end(sim)


def hidden_cpu(build, scratch, display, config, minute, results):
    hidden = kel_run(build, scratch / "hidden", display, FIVE, config, plugin=True)
    try:
        hidden.start()
        hidden.ask("close MainWindow")
        time.sleep(min(10, minute))
        cpu, _ = ProcessFigures(hidden.process.pid).over(minute / 3)
        results.add("idle CPU, five printers, window hidden", cpu, "% of a core", 0.3)
    finally:
        hidden.kill()


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("--json", type=pathlib.Path)
    parser.add_argument("--minute", type=float, default=60, help="seconds before memory is read (default 60)")
    parser.add_argument("--rounds", type=int, default=15)
    arguments = parser.parse_args()
    build = arguments.build.resolve()
    results = Results()
    # As on a desktop there is a session bus; without one every Qt program would try to launch its own.
    with open("/tmp/kel-tests.flock", "w") as lock, tempfile.TemporaryDirectory(prefix="kel-bench-") as scratch, \
            session_bus() as bus, x_server() as display:
        fcntl.flock(lock, fcntl.LOCK_EX)
        os.environ["DBUS_SESSION_BUS_ADDRESS"] = bus
        first_windows(build, pathlib.Path(scratch), display, arguments.rounds, results)
        idle(build, pathlib.Path(scratch), display, arguments.minute, results)
    if arguments.json:
        results.write(arguments.json)


if __name__ == "__main__":
    main()
