#!/usr/bin/python3
"""What the desktop's menu starts: the launcher waits, hands signals on, ends as the program ends, and says on the desktop
where a program is that runs already.

Environment: KEL_BUILD (a build tree). Programs needed: dbus-daemon.
"""

import contextlib
import json
import os
import pathlib
import shlex
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "support"))
from desktop import running, session_bus  # noqa: E402
from harness import main  # noqa: E402
from kel_driver import Kel, wait_for  # noqa: E402
from scripted_kel import BUILD, ROOT, alone  # noqa: E402

FORWARDED = (signal.SIGHUP, signal.SIGINT, signal.SIGQUIT, signal.SIGTERM, signal.SIGUSR1, signal.SIGUSR2)
# Notes each signal that it gets; ends with 7 at the second.
STAND_IN = f"""#!/usr/bin/python3
import os, pathlib, signal, sys
directory = pathlib.Path(sys.argv[1])
def note(number, _frame):
    with open(directory / "got", "a") as file:
        file.write(f"{{number}}\\n")
    if len((directory / "got").read_text().split()) == 2:
        os._exit(7)
for number in {(*map(int, FORWARDED), int(signal.SIGCHLD))}:
    signal.signal(number, note)
(directory / "pid").write_text(str(os.getpid()))
(directory / "ready").touch()
while True:
    signal.pause()
"""
PATIENCE = 60


class Launcher(unittest.TestCase):
    """The launcher beside a stand-in for the program."""

    def setUp(self):
        scratch = tempfile.TemporaryDirectory(prefix="kel-launcher-")
        self.addCleanup(scratch.cleanup)
        self.directory = pathlib.Path(scratch.name)
        self.launcher = shutil.copy(BUILD / "bin" / "kel-launcher", self.directory)
        self.put("kel-notice", f"#!/bin/sh\necho noticed >>{shlex.quote(str(self.directory / 'noticed'))}\n")

    def put(self, name, text):
        (self.directory / name).write_text(text)
        (self.directory / name).chmod(0o755)

    def launch(self, *arguments, **options):
        process = subprocess.Popen([self.launcher, *arguments], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE, text=True, start_new_session=True, **options)
        try:
            said = process.communicate(timeout=PATIENCE)
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, signal.SIGKILL)  # what it started has its standard output, too
            process.communicate()
            raise
        return subprocess.CompletedProcess(arguments, process.returncode, *said)

    @staticmethod
    def end_group(process):
        with contextlib.suppress(ProcessLookupError):
            os.killpg(process.pid, signal.SIGKILL)
        process.wait()

    def start_stand_in(self):
        """The launcher, once the stand-in below it can take signals."""
        self.put("kel", STAND_IN)
        process = subprocess.Popen([self.launcher, str(self.directory)], start_new_session=True)
        self.addCleanup(self.end_group, process)
        ready = self.directory / "ready"
        wait_for(ready.exists, PATIENCE, "the stand-in")
        return process

    def got(self):
        path = self.directory / "got"
        return [int(line) for line in path.read_text().split()] if path.exists() else []

    def test_arguments_output_and_status_are_the_programs(self):
        self.put("kel", '#!/bin/sh\nprintf "%s\\n" "$@" "$SOME"\nexit 3\n')
        done = self.launch("-a", "two words", env={**os.environ, "SOME": "thing"})
        self.assertEqual((done.returncode, done.stdout), (3, "-a\ntwo words\nthing\n"))
        self.assertFalse((self.directory / "noticed").exists())

    def test_each_signal_reaches_the_program_and_the_launcher_waits_on(self):
        for number in FORWARDED:
            with self.subTest(number.name):
                for name in ("got", "ready"):
                    (self.directory / name).unlink(missing_ok=True)
                process = self.start_stand_in()
                process.send_signal(number)
                wait_for(lambda: self.got() == [number], PATIENCE, "the signal")
                self.assertIsNone(process.poll())
                process.send_signal(signal.SIGTERM)
                self.assertEqual(process.wait(PATIENCE), 7)
                self.assertEqual(self.got(), [number, signal.SIGTERM])

    def test_what_happens_to_the_program_is_not_told_to_it_as_if_it_were_a_childs(self):
        process = self.start_stand_in()
        program = int((self.directory / "pid").read_text())
        for number in (signal.SIGSTOP, signal.SIGCONT):
            os.kill(program, number)
        process.send_signal(signal.SIGUSR1)  # taken behind the SIGCHLD of both
        wait_for(self.got, PATIENCE, "a signal")
        process.send_signal(signal.SIGUSR2)
        self.assertEqual(process.wait(PATIENCE), 7)
        self.assertEqual(self.got(), [signal.SIGUSR1, signal.SIGUSR2])

    def test_the_programs_death_by_a_signal_is_the_launchers(self):
        for number in (signal.SIGKILL, signal.SIGSEGV, signal.SIGTERM):
            with self.subTest(number.name):
                self.put("kel", f"#!/bin/sh\nkill -{int(number)} $$\nsleep 600\n")
                self.assertEqual(self.launch().returncode, -number)

    def test_what_the_launcher_was_told_to_ignore_stays_ignored(self):
        self.put("kel", "#!/bin/sh\nsed -n 's/^SigIgn:\\t//p; s/^SigBlk:\\t//p' /proc/self/status\n")
        before = self.launch(preexec_fn=lambda: signal.signal(signal.SIGHUP, signal.SIG_IGN)).stdout.split()
        self.assertEqual(int(before[0], 16), 0, "no signal is blocked")
        self.assertTrue(int(before[1], 16) & 1 << signal.SIGHUP - 1)

    def test_children_that_its_parent_ignored_are_waited_for(self):
        self.put("kel", "#!/bin/sh\nexit 5\n")
        done = self.launch(preexec_fn=lambda: signal.signal(signal.SIGCHLD, signal.SIG_IGN))
        self.assertEqual(done.returncode, 5)

    def test_status_255_is_noticed_and_handed_on(self):
        self.put("kel", "#!/bin/sh\nexit 255\n")
        self.assertEqual(self.launch().returncode, 255)
        self.assertEqual((self.directory / "noticed").read_text(), "noticed\n")

    def test_without_the_notice_the_status_is_still_the_programs(self):
        self.put("kel", "#!/bin/sh\nexit 255\n")
        (self.directory / "kel-notice").unlink()
        done = self.launch()
        self.assertEqual(done.returncode, 255)
        self.assertIn("kel-notice: No such file or directory", done.stderr)

    def test_a_program_that_is_not_there_is_said(self):
        done = self.launch()
        self.assertEqual(done.returncode, 127)
        self.assertRegex(done.stderr, r"^kel-launcher: .*/kel: No such file or directory\n$")

    def test_a_link_leads_to_the_program_beside_the_launcher(self):
        self.put("kel", "#!/bin/sh\nexit 4\n")
        elsewhere = self.directory / "elsewhere"
        elsewhere.mkdir()
        (elsewhere / "start").symlink_to(self.launcher)
        done = subprocess.run([str(elsewhere / "start")], timeout=PATIENCE, check=False)
        self.assertEqual(done.returncode, 4)


class SecondStart(unittest.TestCase):
    """The launcher and the program as they were built, while the program runs already."""

    def setUp(self):
        stack = contextlib.ExitStack()
        self.addCleanup(stack.close)
        self.directory = stack.enter_context(tempfile.TemporaryDirectory(prefix="kel-second-"))
        self.bus = stack.enter_context(session_bus())
        self.stack = stack

    def start_first(self):
        kel = Kel(BUILD, self.directory, extra={"DBUS_SESSION_BUS_ADDRESS": self.bus})
        kel.set_list([])
        self.addCleanup(kel.kill)
        kel.start()
        return kel

    def show_notifications(self):
        host = self.stack.enter_context(running(["/usr/bin/python3", str(ROOT / "tests/support/notification_host.py")],
                                                DBUS_SESSION_BUS_ADDRESS=self.bus))
        self.assertEqual(host.stdout.readline(), "ready\n")
        return host

    def start_second(self, environment):
        return subprocess.run([str(BUILD / "bin" / "kel-launcher")], env=environment, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, timeout=300, check=False)

    def test_the_desktop_says_which_process_it_is_and_how_its_window_comes_back(self):
        host = self.show_notifications()
        kel = self.start_first()
        second = self.start_second(kel.environment)
        self.assertEqual(second.returncode, 255)
        limit = threading.Timer(300, host.kill)  # no notification is the end of what can be read
        limit.start()
        self.addCleanup(limit.cancel)
        said = json.loads(host.stdout.readline())
        self.assertEqual((said["program"], said["icon"], said["title"]), ("Kel", "org.morvik.Kel", "Kel 已在运行"))
        self.assertEqual(said["hints"], {"desktop-entry": "org.morvik.Kel"})
        self.assertIn("系统托盘", said["text"])
        self.assertIn("显示主界面", said["text"])
        self.assertIn(f"kill {kel.process.pid} ", said["text"])
        self.assertEqual(kel.quit()[0], 0)

    def test_without_notifications_it_is_said_on_standard_error(self):
        kel = self.start_first()
        second = self.start_second(kel.environment)
        self.assertEqual(second.returncode, 255)
        self.assertIn(f"kill {kel.process.pid} ", second.stderr)
        self.assertEqual(kel.quit()[0], 0)


if __name__ == "__main__":
    alone()
    main("launcher_test")
