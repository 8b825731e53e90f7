"""The pieces that the integration tests are made of: a private desktop, the program on it, agents and printers.

Everything is private to one test program: X server, session bus, HOME and XDG directories. What cannot be private, the
lock file that every instance on a machine shares, is guarded by a lock of the tests' own, so that two checkouts can be
tested at once.
"""

import codecs
import contextlib
import fcntl
import json
import os
import pathlib
import re
import shlex
import shutil
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "support"))
import junit_unittest  # noqa: E402
from desktop import end, running, session_bus, without_strict_strings, x_server  # noqa: E402

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
BUILD = pathlib.Path(os.environ.get("KEL_BUILD", ROOT / "build" / "dev")).resolve()
DATA = ROOT / "tests" / "data"
NETWORK = "127.43"  # every address of these tests lies in it
PATIENCE = int(os.environ.get("KEL_PATIENCE", "1"))  # how many times longer everything may take
LOCK_FILE = pathlib.Path("/tmp/kel.lock")


def address(tail):
    """An address of the tests' network: address("0.1") is 127.43.0.1."""
    return f"{NETWORK}.{tail}"


def own_address(tail):
    """One that no other process of these tests has, that of another checkout neither: own_address(1)."""
    return f"127.{100 + os.getpid() // 250 % 100}.{1 + os.getpid() % 250}.{tail}"


def flags_of_the_library(directory):
    """The compiler's arguments that pkg-config names for tarn in that directory. It quotes each byte for a shell."""
    said = subprocess.run(["pkg-config", "--cflags", "--libs", "tarn"], env={**os.environ, "PKG_CONFIG_PATH": str(directory)},
                          stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, check=True, timeout=60).stdout
    return [os.fsdecode(flag.encode("latin-1")) for flag in shlex.split(said.decode("latin-1"))]


def wait_for(condition, seconds, what):
    """The first true value of condition(); AssertionError when there was none in that time."""
    seconds *= PATIENCE
    limit = time.monotonic() + seconds
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() >= limit:
            raise AssertionError(f"not within {seconds} s: {what}")
        time.sleep(0.05)


def seconds_until(condition, seconds, what):
    """How long it took until condition() was true, in the seconds of a machine whose tests need no more patience than
    others; AssertionError after that many."""
    begun = time.monotonic()
    wait_for(condition, seconds, what)
    taken = time.monotonic() - begun
    print(f"    {taken:.1f} s: {what}")
    return taken / PATIENCE


@contextlib.contextmanager
def alone_with_the_lock_file():
    """Nobody else's test runs the program meanwhile."""
    with open("/tmp/kel-tests.flock", "w") as guard:
        fcntl.flock(guard, fcntl.LOCK_EX)
        # A test that was killed may have left something else in its place.
        if LOCK_FILE.is_symlink():
            LOCK_FILE.unlink()
        elif LOCK_FILE.is_dir():
            LOCK_FILE.rmdir()
        yield


def lock_file_is_held():
    """Whether some instance, the user's own for example, holds the program's lock."""
    if not LOCK_FILE.exists():
        return False
    with open(LOCK_FILE, "r+") as file:
        try:
            fcntl.lockf(file, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except OSError:
            return True
        return False


class Desktop:
    """An X server with window manager and tray, a session bus, and the accessibility bus announced on the display."""

    def __init__(self):
        self._stack = contextlib.ExitStack()
        self.directory = pathlib.Path(self._stack.enter_context(tempfile.TemporaryDirectory(prefix="kel-integration-")))
        self.home = self.directory / "home"
        self.home.mkdir()
        (self.directory / "run").mkdir(mode=0o700)
        self.environment = {name: os.environ[name] for name in ("PATH",) if name in os.environ}
        self.environment.update(HOME=str(self.home), LANG="C.UTF-8", XDG_RUNTIME_DIR=str(self.directory / "run"))
        os.environ.update(HOME=str(self.home), XDG_RUNTIME_DIR=str(self.directory / "run"))
        os.environ.pop("XAUTHORITY", None)
        try:
            self._start()
        except BaseException:
            self._stack.close()
            raise

    def _start(self):
        self.display = self._stack.enter_context(x_server("-screen", "0", "1920x1080x24"))
        bus = self._stack.enter_context(session_bus())
        common = dict(DISPLAY=self.display, DBUS_SESSION_BUS_ADDRESS=bus)
        self.environment.update(common)
        os.environ.update(common)
        self._stack.enter_context(running(["openbox", "--sm-disable"]))
        self._stack.enter_context(running(["trayer", "--edge", "top", "--align", "right", "--width", "10"]))
        wait_for(self._has_window_manager, 20, "a window manager")
        wait_for(self._has_tray, 20, "a tray")
        self._announce_accessibility()

    def _announce_accessibility(self):
        """Qt looks for the bus's address on the root window when it starts, and only there."""
        # Debian's places for it; the session's own start of it would come too late for the program.
        launcher = shutil.which("at-spi-bus-launcher", path="/usr/libexec:/usr/lib/at-spi2-core")
        self._stack.enter_context(running([launcher, "--launch-immediately"]))

        def ask():
            answer = subprocess.run(["dbus-send", "--session", "--print-reply=literal", "--dest=org.a11y.Bus",
                                     "/org/a11y/bus", "org.a11y.Bus.GetAddress"], stdout=subprocess.PIPE,
                                    stderr=subprocess.DEVNULL, text=True)
            return answer.stdout.strip() if answer.returncode == 0 else None

        bus = wait_for(ask, 20, "the accessibility bus")
        subprocess.run(["xprop", "-root", "-format", "AT_SPI_BUS", "8s", "-set", "AT_SPI_BUS", bus], check=True)
        os.environ["AT_SPI_BUS_ADDRESS"] = bus

    def _has_window_manager(self):
        said = subprocess.run(["xprop", "-root", "_NET_SUPPORTING_WM_CHECK"], stdout=subprocess.PIPE, text=True).stdout
        return "window id" in said

    def _has_tray(self):
        return '"panel"' in subprocess.run(["xwininfo", "-root", "-tree"], stdout=subprocess.PIPE, text=True).stdout

    def close(self):
        self._stack.close()


class Kel:
    """The built program on a desktop, with data, cache and configuration in a directory of its own."""

    def __init__(self, desktop, name, ports=None):
        """ports: {address or network: UDP port} for the access library's configuration."""
        self.directory = desktop.directory / name
        (self.directory / "config" / "tarn").mkdir(parents=True)
        self.environment = dict(desktop.environment, QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1",
                                XDG_DATA_HOME=str(self.directory / "data"), XDG_CACHE_HOME=str(self.directory / "cache"),
                                XDG_CONFIG_HOME=str(self.directory / "config"), XDG_STATE_HOME=str(self.directory / "state"))
        for option in ("ASAN_OPTIONS", "LSAN_OPTIONS", "TSAN_OPTIONS", "UBSAN_OPTIONS"):
            if option in os.environ:
                self.environment[option] = os.environ[option]
        without_strict_strings(self.environment)
        self.log_path = self.directory / "kel.log"
        self.process = None
        config = {"addresses": {where: {"port": port} for where, port in (ports or {}).items()}}
        (self.directory / "config" / "tarn" / "tarn.json").write_text(json.dumps(config))

    @property
    def printers_json(self):
        return self.directory / "data" / "Morvik" / "kel" / "printers.json"

    def set_list(self, printers):
        """Writes printers.json: a list of (name, address)."""
        self.printers_json.parent.mkdir(parents=True, exist_ok=True)
        rows = [{"ip": ip, "manufacturer": "MORVIK", "model": "", "printerName": name} for name, ip in printers]
        self.printers_json.write_text(json.dumps(rows))

    def start(self):
        with open(self.log_path, "ab") as log:
            self.process = subprocess.Popen([str(BUILD / "bin" / "kel")], env=self.environment, stdin=subprocess.DEVNULL,
                                            stdout=log, stderr=log, cwd=self.directory)
        return self.process

    def run_second(self, seconds=30):
        """Starts another instance; its (exit status, output)."""
        done = subprocess.run([str(BUILD / "bin" / "kel")], env=self.environment, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, cwd=self.directory, timeout=seconds)
        return done.returncode, done.stdout.decode(errors="replace")

    def log(self):
        return self.log_path.read_text(errors="replace") if self.log_path.exists() else ""

    def stop(self):
        """Ends the program at once, whatever it does."""
        if self.process is not None and self.process.poll() is None:
            self.process.kill()
            self.process.wait()


class Simulator:
    """printer-sim, with commands over its standard input. sources: FILE[@ADDRESS][*COUNT]."""

    def __init__(self, port, *arguments):
        self.process = subprocess.Popen([str(BUILD / "bin" / "printer-sim"), "--control", "--port", str(port), *arguments],
                                        stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        self.ready = self.process.stdout.readline()
        if not self.ready.startswith("ready: "):
            raise RuntimeError("printer-sim did not start")

    def ask(self, command):
        """Carries out one command; what follows "ok "."""
        self.process.stdin.write(command + "\n")
        self.process.stdin.flush()
        line = self.process.stdout.readline().strip()
        if not line.startswith("ok"):
            raise RuntimeError(f"{command}: {line}")
        return line[3:]

    def set(self, where, oid, tag, value):
        self.ask(f"set {where} {oid}|{tag}|{value}")

    def requests(self, where):
        return int(self.ask(f"count {where}").split()[0].split("=")[1])

    def stop(self):
        end(self.process)
        self.process.stdin.close()
        self.process.stdout.close()


def still(scenario, directory):
    """A copy of a scenario of tests/data whose numbers and states are for ever what they are at the start."""
    text = (DATA / scenario).read_text()
    for moving, first in ((r'\{"steps": \[\[0, ("\w+")\].*\}', r"\1"), (r'\{"start": (\d+), "perMinute": \d+\}', r"\1"),
                          (r'\{"line": \[\[0, (\d+)\][^}]*\}', r"\1")):
        text = re.sub(moving, first, text)
    path = pathlib.Path(directory) / scenario
    path.write_text(text)
    return path


class Watch:
    """tarn-status --json --watch of some printers: the newest document, as the program prints them."""

    def __init__(self, directory, port, *where, interval=1, extra=None, config=None, mode=0o600):
        """config: the access library's, instead of one that says nothing but the port; extra: more environment variables."""
        directory = pathlib.Path(directory)
        directory.mkdir(parents=True)
        (directory / "tarn.json").write_text(json.dumps(config or {"default": {"port": port}}))
        (directory / "tarn.json").chmod(mode)
        environment = dict(os.environ, TARN_CONFIG=str(directory / "tarn.json"), XDG_CACHE_HOME=str(directory / "cache"),
                           **{"XDG_STATE_HOME": str(directory / "state"), **(extra or {})})
        self._complaints = directory / "stderr"
        with open(self._complaints, "w") as stderr:
            self.process = subprocess.Popen([str(BUILD / "bin" / "tarn-status"), "--json", f"--watch={interval}", *where],
                                            env=environment, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                            stderr=stderr)
        os.set_blocking(self.process.stdout.fileno(), False)
        self._decoder = codecs.getincrementaldecoder("utf-8")()  # a read may end within a character
        self._unread = ""
        self._newest = None

    def printer(self, index=0):
        """The newest of what is known of a printer; None before the first document."""
        printers = self.printers()
        return printers[index] if printers is not None else None

    def printers(self):
        """The newest of what is known of all of them; None before the first document."""
        self._unread += self._decoder.decode(self.process.stdout.read() or b"")
        decoder = json.JSONDecoder()
        while True:
            text = self._unread.lstrip()
            try:
                self._newest, end_of_document = decoder.raw_decode(text)
            except json.JSONDecodeError:
                break
            self._unread = text[end_of_document:]
        return self._newest["printers"] if self._newest else None

    def complaints(self):
        """The lines that it wrote to stderr."""
        return self._complaints.read_text().splitlines()

    def stop(self):
        end(self.process)
        self.process.stdout.close()


def snmp(tool, where, port, *arguments, version="2c", community="public"):
    """Runs a Net-SNMP tool against an agent; its lines of output."""
    done = subprocess.run([tool, "-m", "", "-v", version, "-c", community, "-Onq", "-t", "2", "-r", "2",
                           f"{where}:{port}", *arguments], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    if done.returncode != 0:
        raise RuntimeError(f"{tool}: {done.stderr.strip()}")
    return done.stdout.splitlines()


def snmp_set(where, port, oid, kind, value, version="2c"):
    """Sets a value live, as a printer's own panel or a job would change it."""
    snmp("snmpset", where, port, oid, kind, str(value), version=version, community="private")


def main(name):
    """Runs the cases of __main__. "--report FILE" names the JUnit report, from which scripts/test counts."""
    if "--report" in sys.argv:
        report = pathlib.Path(sys.argv[sys.argv.index("--report") + 1])
        os.environ["KEL_REPORT_DIR"] = str(report.parent)
        name = report.stem
        del sys.argv[1:]
    junit_unittest.main(name)
