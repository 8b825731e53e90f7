#!/usr/bin/python3
"""One instance a machine, its lock file, and what does not end the program: with the real executable."""

import os
import pathlib
import signal
import stat
import subprocess

from harness import BUILD, LOCK_FILE, Kel, lock_file_is_held, main, wait_for
from window_case import WINDOW, WindowCase, setUpModule, tearDownModule  # noqa: F401

REFUSAL = "kel.lock cannot be locked."

class StartUp(WindowCase):
    def setUp(self):
        super().setUp()
        if lock_file_is_held():
            self.skipTest("another instance runs on this machine: end it to have this tested")
        self.kel = Kel(self.desktop, self.id())
        self.addCleanup(self.kel.stop)

    def test_a_second_start_ends_at_once_with_255_and_says_why(self):
        self.start()
        status, said = self.kel.run_second()
        self.assertEqual(status, 255)
        self.assertEqual(said.splitlines(), [REFUSAL])
        # The window manager may still be busy with it.
        wait_for(self.visible_windows, 20, "the window on the screen")
        self.assertEqual(len(self.visible_windows()), 1)
        self.assertIsNone(self.kel.process.poll())
        self.assertTrue(self.app.window(WINDOW))
        self.assertNotIn(REFUSAL, self.kel.log())

    def test_the_first_instance_keeps_its_lock_when_others_were_refused(self):
        self.start()
        for _ in range(3):
            self.assertEqual(self.kel.run_second()[0], 255)
        self.assertTrue(lock_file_is_held())

    def test_a_missing_lock_file_is_made_with_its_text_for_everybody(self):
        LOCK_FILE.unlink(missing_ok=True)
        umask = os.umask(0o077)
        try:
            self.start()
        finally:
            os.umask(umask)
        self.assertEqual(LOCK_FILE.read_bytes(), b"kel lock file")
        self.assertEqual(stat.S_IMODE(LOCK_FILE.stat().st_mode), 0o777)
        self.assertTrue(lock_file_is_held())

    def test_a_lock_file_that_is_there_stays_as_it_is(self):
        LOCK_FILE.write_text("older")
        LOCK_FILE.chmod(0o666)
        self.start()
        self.assertEqual(LOCK_FILE.read_text(), "older")
        self.assertEqual(stat.S_IMODE(LOCK_FILE.stat().st_mode), 0o666)
        LOCK_FILE.unlink()

    def test_a_killed_instance_leaves_the_way_free(self):
        self.start()
        self.kel.process.kill()
        self.kel.process.wait()
        self.assertTrue(LOCK_FILE.exists())
        self.assertFalse(lock_file_is_held())
        self.start()
        self.assertEqual(self.kel.run_second()[0], 255)

    def check_abort(self):
        self.kel.start()
        status = self.kel.process.wait(20)
        # An exception that nobody catches: the program is aborted.
        self.assertEqual(status, -signal.SIGABRT, self.kel.log())

    def test_a_lock_file_that_cannot_be_opened_ends_the_program(self):
        LOCK_FILE.unlink(missing_ok=True)
        LOCK_FILE.mkdir()
        self.addCleanup(LOCK_FILE.rmdir)
        self.check_abort()
        self.assertIn("interprocess_exception", self.kel.log())

    def test_a_lock_file_that_cannot_be_made_ends_the_program(self):
        LOCK_FILE.unlink(missing_ok=True)
        LOCK_FILE.symlink_to(self.kel.directory / "nowhere" / "kel.lock")
        self.addCleanup(LOCK_FILE.unlink)
        self.check_abort()
        self.assertIn("permissions", self.kel.log())

    def test_the_window_has_no_maximise_button(self):
        self.start()
        window = wait_for(self.visible_windows, 20, "the window on the screen")[0]
        said = subprocess.run(["xprop", "-id", window, "_MOTIF_WM_HINTS"], stdout=subprocess.PIPE, text=True).stdout
        flags, functions, decorations = (int(word, 0) for word in said.split("=")[1].split(",")[:3])
        self.assertEqual(flags & 3, 3, "functions and decorations are both given")
        # Bits of the Motif hints: functions minimise 3, maximise 4, close 5; decorations minimise 5, maximise 6.
        self.assertEqual(functions & 0b111000, 0b101000, said)
        self.assertEqual(decorations & 0b1100000, 0b0100000, said)

    def test_closing_the_window_does_not_end_the_program(self):
        self.start()
        self.close_by_keys()
        self.assertEqual(self.kel.run_second()[0], 255, "the closed program still runs")
        self.assertIsNone(self.kel.process.poll())

    def test_arguments_are_no_options(self):
        done = subprocess.Popen([str(BUILD / "bin" / "kel"), "--help"], env=self.kel.environment,
                                stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        self.kel.process = done
        self.app = self.ui.Application(done)
        wait_for(lambda: self.app.window(WINDOW), 30, "the window")
        self.kel.stop()
        self.assertNotIn(b"sage", done.stdout.read())
        done.stdout.close()

    def test_the_lists_file_is_made_empty_and_for_everybody(self):
        self.start()
        self.assertEqual(self.kel.printers_json.read_bytes(), b"[]")
        self.assertEqual(stat.S_IMODE(self.kel.printers_json.stat().st_mode), 0o777)
        self.assertEqual(self.kel.printers_json, self.kel.directory / "data" / "Morvik" / "kel" / "printers.json")

    def test_without_the_access_library_the_window_opens_empty(self):
        empty = pathlib.Path(self.kel.directory) / "empty"
        empty.mkdir()
        self.kel.environment["TARN_DIR"] = str(empty)
        self.kel.set_list([("office", "127.43.4.1")])
        self.start()
        rows = self.app.ask(lambda root: root.find_all("list item"))
        self.assertEqual(rows, [])


if __name__ == "__main__":
    main("start_up_test")
