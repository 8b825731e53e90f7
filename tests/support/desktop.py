"""The pieces of a desktop for tests, each a private process of ours: X server, window manager, tray, session bus."""

import contextlib
import os
import subprocess
import tempfile


def end(process, seconds=10):
    """Ends a process that we started, gently first."""
    if process.poll() is None:
        process.terminate()
        try:
            process.wait(seconds)
        except subprocess.TimeoutExpired:
            process.kill()
            process.wait()


def without_strict_strings(environment):
    """Adapts the environment of a program that shows itself on an X server: Qt's xcb plugin calls strndup() on texts that
    have a length and no end, which is in order, but not for the address sanitizer's strict check of strings."""
    if "ASAN_OPTIONS" in environment:
        environment["ASAN_OPTIONS"] += ":strict_string_checks=0"
    return environment


@contextlib.contextmanager
def x_server(*arguments):
    """A virtual X server; yields its display name. arguments: of Xvfb, by default one screen of 1920 x 1080."""
    read_end, write_end = os.pipe()
    with tempfile.TemporaryFile("w+") as log:
        server = subprocess.Popen(["Xvfb", "-displayfd", str(write_end), "-noreset", "-nolisten", "tcp",
                                   *(arguments or ("-screen", "0", "1920x1080x24"))],
                                  pass_fds=[write_end], stdout=subprocess.DEVNULL, stderr=log)
        os.close(write_end)
        try:
            with os.fdopen(read_end) as pipe:
                number = pipe.readline().strip()
            if not number:
                log.seek(0)
                raise RuntimeError(f"Xvfb did not start: {log.read()[-2000:]}")
            yield f":{number}"
        finally:
            end(server)


@contextlib.contextmanager
def running(command, display=None, **environment):
    """A helper program, ended on leaving; yields the process, whose stdin and stdout are pipes of text lines."""
    env = dict(os.environ, **environment)
    if display is not None:
        env["DISPLAY"] = display
    process = subprocess.Popen(command, env=env, text=True, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                               stderr=subprocess.DEVNULL)
    try:
        yield process
    finally:
        end(process)
        process.stdin.close()
        process.stdout.close()


@contextlib.contextmanager
def session_bus():
    """A private D-Bus session bus; yields its address."""
    with running(["dbus-daemon", "--session", "--nofork", "--print-address=1"]) as daemon:
        address = daemon.stdout.readline().strip()
        if not address:
            raise RuntimeError("dbus-daemon did not start")
        yield address
