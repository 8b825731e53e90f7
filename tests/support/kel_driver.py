"""Starts the built program with everything of its own private and drives it through the remote-control plugin.

A Kel object owns one run: a private directory (data, cache, configuration, HOME), the socket of the plugin and the
process. Nothing of the user's own is read or written, but for the lock file that every instance on a machine shares.
"""

import json
import os
import pathlib
import socket
import subprocess
import time

from desktop import without_strict_strings


class DriverError(Exception):
    """The program did not do what it was asked for in the time allowed."""


def wait_for(condition, seconds, what):
    """Returns the first true value of condition(), or raises DriverError after the given seconds."""
    end = time.monotonic() + seconds
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() >= end:
            raise DriverError(f"not within {seconds} s: {what}")
        time.sleep(0.02)


class Kel:
    """One run of the program.

    build: the build tree (build/<preset>); directory: a private directory, kept between runs of one test;
    library_dir: what TARN_DIR is set to, or None for the default; extra: more environment variables.
    """

    def __init__(self, build, directory, library_dir=None, extra=None):
        self.build = pathlib.Path(build).resolve()
        self.program = self.build / "bin" / "kel"
        self.directory = pathlib.Path(directory).resolve()
        self.directory.mkdir(parents=True, exist_ok=True)
        self.socket_path = self.directory / "remote.sock"
        self.log_path = self.directory / "kel.log"
        self.environment = self._environment(library_dir, extra or {})
        self.patience = 60 * int(os.environ.get("KEL_PATIENCE", "1"))  # seconds that one answer may take
        self.process = None
        self._connection = None

    @property
    def printers_json(self):
        return self.directory / "data" / "Morvik" / "kel" / "printers.json"

    def _environment(self, library_dir, extra):
        keep = {name: os.environ[name] for name in ("PATH", "LANG", "DISPLAY", "XAUTHORITY", "DBUS_SESSION_BUS_ADDRESS")
                if name in os.environ}
        here = self.directory
        env = dict(keep, HOME=str(here), XDG_DATA_HOME=str(here / "data"), XDG_CACHE_HOME=str(here / "cache"),
                   XDG_STATE_HOME=str(here / "state"), XDG_CONFIG_HOME=str(here / "config"), XDG_RUNTIME_DIR=str(here),
                   QT_QPA_PLATFORM="offscreen", QT_PLUGIN_PATH=str(self.build / "tests" / "plugins"),
                   QT_QPA_GENERIC_PLUGINS="kelremote", KEL_REMOTE_SOCKET=str(self.socket_path))
        env.setdefault("LANG", "C.UTF-8")
        # What the build is told that the program comes from: by sanitizers, by scripts/mutate.
        for name in ("ASAN_OPTIONS", "LSAN_OPTIONS", "TSAN_OPTIONS", "UBSAN_OPTIONS", "KEL_MUTANT", "KEL_MUTANTS_SEEN"):
            if name in os.environ:
                env[name] = os.environ[name]
        if library_dir is not None:
            env["TARN_DIR"] = str(library_dir)
        env.update(extra)
        return env

    def set_list(self, printers):
        """Writes printers.json before a start: a list of (name, ip, model)."""
        self.printers_json.parent.mkdir(parents=True, exist_ok=True)
        rows = [{"ip": ip, "manufacturer": "MORVIK", "model": model, "printerName": name}
                for name, ip, model in printers]
        self.printers_json.write_text(json.dumps(rows, separators=(",", ":")) + "\n")

    def start(self, seconds=None):
        """Starts the program and waits until its event loop runs."""
        self.spawn()
        wait_for(self._connected_or_dead, seconds or self.patience, "the event loop of the program")
        self.ask("ping")

    def spawn(self):
        """Starts the program without waiting for anything."""
        self.socket_path.unlink(missing_ok=True)
        environment = dict(self.environment)
        if environment.get("QT_QPA_PLATFORM") == "xcb":
            environment = without_strict_strings(environment)
        with open(self.log_path, "ab") as log:
            self.process = subprocess.Popen([str(self.program)], env=environment, stdin=subprocess.DEVNULL,
                                            stdout=log, stderr=log, cwd=self.directory)

    def _connected_or_dead(self):
        if self.process.poll() is not None:
            raise DriverError(f"the program ended with {self.process.returncode}: {self.log_tail()}")
        connection = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        try:
            connection.connect(str(self.socket_path))
        except OSError:
            connection.close()
            return False
        connection.settimeout(self.patience)
        self._connection = connection.makefile("rw", encoding="utf-8", newline="\n")
        connection.close()
        return True

    def ask(self, command):
        """Sends one command and returns its decoded answer; raises DriverError for 'error: ...'."""
        self._connection.write(command + "\n")
        self._connection.flush()
        line = self._connection.readline()
        if not line or line.startswith("error:"):
            raise DriverError(f"{command!r}: {line.strip() or 'no answer'}")
        return json.loads(line)

    def quit(self, seconds=60):
        """Ends the program as its user does, by the action of the menu; returns (status, seconds it took)."""
        begun = time.monotonic()
        self.ask("trigger 退出")
        return self.wait_end(seconds), time.monotonic() - begun

    def wait_end(self, seconds=60):
        """Waits for the end of the process and returns its exit status."""
        try:
            status = self.process.wait(seconds)
        except subprocess.TimeoutExpired:
            raise DriverError(f"the program still runs after {seconds} s") from None
        finally:
            self._drop_connection()
        return status

    def kill(self):
        """Ends the program at once, whatever it does."""
        if self.process is not None and self.process.poll() is None:
            self.process.kill()
            self.process.wait()
        self._drop_connection()

    def _drop_connection(self):
        if self._connection is not None:
            try:
                self._connection.close()
            except OSError:
                pass
            self._connection = None

    def log_tail(self, size=4000):
        """The end of what the program printed, over all runs in this directory."""
        try:
            return self.log_path.read_text(errors="replace")[-size:]
        except OSError:
            return ""
