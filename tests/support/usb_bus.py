"""A USB bus of our own: printers that are plugged into it exist in memory only (tests/support/usb_testbed.cpp)."""

import os
import pathlib
import subprocess


def sanitizer_runtime(program):
    """The sanitizer's library that a program is linked with, which must come before any other; "" without."""
    needed = subprocess.run(["ldd", str(program)], stdout=subprocess.PIPE, text=True).stdout
    for line in needed.splitlines():
        if "libasan.so" in line or "libtsan.so" in line:
            return line.split()[2]
    return ""


def preload(program):
    return " ".join(filter(None, [sanitizer_runtime(program), "libumockdev-preload.so.0"]))


class UsbBus:
    """Plugs printers in and out; see the testbed's source for the keys."""

    def __init__(self, build, directory):
        self.complaints_path = pathlib.Path(directory) / "usb_testbed.log"
        self._complaints = open(self.complaints_path, "wb")
        testbed = pathlib.Path(build) / "tests" / "usb_testbed"
        # It tells of a device that goes only where it sees that device itself.
        self._process = subprocess.Popen([str(testbed)], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True,
                                         stderr=self._complaints, env=dict(os.environ, LD_PRELOAD=preload(testbed)))
        self.root = self._process.stdout.readline().strip()
        if not self.root:
            raise RuntimeError("usb_testbed did not start")

    def environment(self, program):
        """What a program needs in its environment to see this bus and no other."""
        return {"UMOCKDEV_DIR": self.root, "LD_PRELOAD": preload(program)}

    def _ask(self, *fields):
        self._process.stdin.write("\t".join(fields) + "\n")
        self._process.stdin.flush()
        answer = self._process.stdout.readline().strip()
        if not answer.startswith("ok"):
            raise RuntimeError(f"usb_testbed: {fields}: {answer}")
        return answer[3:]

    def plug(self, name, **keys):
        self._ask("plug", name, *(f"{key}={value}" for key, value in keys.items()))

    def set(self, name, **keys):
        self._ask("set", name, *(f"{key}={value}" for key, value in keys.items()))

    def unplug(self, name):
        self._ask("unplug", name)

    def transfers(self, name):
        """How many control transfers the printer was sent."""
        return int(self._ask("count", name))

    def complaints(self):
        """What was done to a printer that nobody may do: claiming, detaching, resetting."""
        return self.complaints_path.read_text()

    def close(self):
        self._process.stdin.close()
        try:
            self._process.wait(30)
        except subprocess.TimeoutExpired:
            self._process.kill()
            self._process.wait()
        self._process.stdout.close()
        self._complaints.close()
