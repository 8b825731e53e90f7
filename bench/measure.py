"""What the measuring programs share: medians, figures of a process from /proc, and results.

A result is one object of build/bench/results.json: name, value, unit, bound, peer, peerValue, ratio, ratioBound, floor,
floorValue, floorRatio, floorRatioBound; what does not apply is null. bench/report.h says the same in C++.
"""

import contextlib
import json
import pathlib
import statistics
import time


def median(values):
    return statistics.median(values)


def quantile(values, part):
    ordered = sorted(values)
    return ordered[min(len(ordered) - 1, int(part * len(ordered)))]


class Results:
    """Collects results, prints each as `name value unit | peer value | ratio`, and adds them to a JSON file."""

    def __init__(self):
        self.rows = []

    def add(self, name, value, unit, bound=None, peer=None, peer_value=None, ratio_bound=None):
        """bound: the largest value that is still good, in the unit; ratio_bound: the same of value to peer_value."""
        ratio = value / peer_value if peer_value else None
        self.rows.append({"name": name, "value": value, "unit": unit, "bound": bound, "peer": peer,
                          "peerValue": peer_value, "ratio": ratio, "ratioBound": ratio_bound, "floor": None,
                          "floorValue": None, "floorRatio": None, "floorRatioBound": None})
        against = "" if peer is None else f" | {peer} {peer_value:.4g}"
        against += "" if ratio is None else f" | {ratio:.3g}"
        against += self.verdict("ratio bound", ratio, ratio_bound)
        print(f"{name} {value:.4g} {unit}{against}{self.verdict('bound', value, bound)}", flush=True)

    @staticmethod
    def verdict(what, value, bound):
        return "" if bound is None else f" | {what} {bound:g} {'holds' if value <= bound else 'MISSED'}"

    def write(self, path):
        """Replaces the rows of the same names in the file, keeps all others."""
        path = pathlib.Path(path)
        path.parent.mkdir(parents=True, exist_ok=True)
        names = {row["name"] for row in self.rows}
        kept = [row for row in json.loads(path.read_text()) if row["name"] not in names] if path.exists() else []
        path.write_text(json.dumps(kept + self.rows, indent=1, ensure_ascii=False) + "\n")


class ProcessFigures:
    """CPU time, context switches and memory of one running process, read from /proc."""

    def __init__(self, pid):
        self.root = pathlib.Path("/proc") / str(pid)

    def cpu_seconds(self):
        """CPU time of all threads that live, in seconds, with nanosecond steps."""
        total = 0
        for task in (self.root / "task").iterdir():
            with contextlib.suppress(OSError):
                total += int((task / "schedstat").read_text().split()[0])
        return total / 1e9

    def context_switches(self):
        total = 0
        for task in (self.root / "task").iterdir():
            with contextlib.suppress(OSError):
                for line in (task / "status").read_text().splitlines():
                    if "ctxt_switches" in line:
                        total += int(line.split()[1])
        return total

    def resident_mib(self):
        return self._status_bytes("VmRSS") / 2**20

    def anonymous_mb(self):
        """What is resident and of no file: heaps, stacks, and pages of files that were written to."""
        return self._status_bytes("RssAnon") / 1e6

    def _status_bytes(self, field):
        for line in (self.root / "status").read_text().splitlines():
            if line.startswith(f"{field}:"):
                return int(line.split()[1]) * 1024
        raise RuntimeError(f"no {field}")

    def over(self, seconds):
        """(CPU in percent of a core, context switches a second) over the next seconds."""
        cpu, switches, begun = self.cpu_seconds(), self.context_switches(), time.monotonic()
        time.sleep(seconds)
        took = time.monotonic() - begun
        return (self.cpu_seconds() - cpu) / took * 100, (self.context_switches() - switches) / took
