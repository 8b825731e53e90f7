#!/usr/bin/python3
"""Files that are not as they should be: the program's own, the access library's, and the lock; and saves that are cut short.

Environment: KEL_BUILD (a build tree), KEL_PROGRAM_KILLS (default 6), KEL_SEED (default: the time).
"""

import json
import os
import pathlib
import random
import shutil
import signal
import stat
import subprocess
import sys
import tempfile
import time
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "support"))
import private_tmp  # noqa: E402
from junit_unittest import main  # noqa: E402
from kel_driver import Kel, wait_for  # noqa: E402
from scripted_kel import BUILD, LIBRARY, PYTHON, SLOWER, ScriptedKel, alone, is_instrumented, network_printers  # noqa: E402

KILLS = int(os.environ.get("KEL_PROGRAM_KILLS", "6"))
SEED = int(os.environ.get("KEL_SEED", str(int(time.time()))))
LOCK = pathlib.Path("/tmp/kel.lock")
GOOD_LIST = '[{"ip":"127.0.0.1","manufacturer":"MORVIK","model":"X1","printerName":"office"}]\n'

BAD_TEXTS = {
    "empty": b"", "blank": b" \n", "nul": b"\0", "nuls": b"\0" * 4096, "bom": b"\xef\xbb\xbf[]", "text": b"\"text\"",
    "number": b"5", "wrong types": b'[1,null,"x",[],{"printerName":5,"ip":{}}]', "object": b'{"printerName":"x"}',
    "invalid utf-8": b'[{"printerName":"\xff\xfe","ip":"\x80"}]', "cut": GOOD_LIST.encode()[:40],
    "deep": b"[" * 100_000, "deep objects": b'{"a":' * 100_000, "huge": b"[" + b" " * 100_000_000,
    "huge string": b'[{"printerName":"' + b"x" * 100_000_000,
}


def place(path, kind):
    """Puts something in a file's place that no file is. Unknown kinds are bytes of BAD_TEXTS."""
    path.parent.mkdir(parents=True, exist_ok=True)
    if path.is_symlink() or path.is_file():
        path.unlink()
    elif path.exists():
        path.rmdir() if path.is_dir() else path.unlink()
    if kind == "directory":
        path.mkdir()
    elif kind == "fifo":
        os.mkfifo(path)
    elif kind == "link into nowhere":
        path.symlink_to(path.parent / "nowhere" / "at all")
    elif kind == "link loop":
        path.symlink_to(path)
    else:
        path.write_bytes(BAD_TEXTS[kind])


def picture_of(path):
    """What must not change: kind, size and a piece of the content."""
    data = path.lstat()
    content = path.read_bytes() if stat.S_ISREG(data.st_mode) else b""
    return stat.S_IFMT(data.st_mode), data.st_ino, content


class Scratch(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory(prefix="kel-files-")
        self.addCleanup(scratch.cleanup)
        self.directory = pathlib.Path(scratch.name)

    def run_and_quit(self, kel, check=None):
        self.addCleanup(kel.kill)
        kel.start()
        if check:
            check(kel)
        status, _ = kel.quit()
        self.assertEqual(status, 0, kel.log_tail())


class PrinterList(Scratch):
    def test_whatever_lies_in_its_place_is_an_empty_list_that_nobody_overwrites(self):
        for kind in [*BAD_TEXTS, "directory", "fifo"]:
            with self.subTest(kind=kind):
                kel = ScriptedKel(self.directory)
                place(kel.printers_json, kind)
                before = picture_of(kel.printers_json)
                self.run_and_quit(kel, self.refreshed if kind in ("huge", "fifo", "deep") else None)
                self.assertTrue(picture_of(kel.printers_json) == before, "the file is as it was")
                self.assertEqual([entry.name for entry in kel.printers_json.parent.iterdir()], ["printers.json"])

    def refreshed(self, kel):
        exchanges = [name for _, name in kel.calls()].count("tarn_setPrinterList")
        wait_for(lambda: [name for _, name in kel.calls()].count("tarn_setPrinterList") > exchanges, 20 * SLOWER, "a refresh")

    def test_elements_of_wrong_types_are_one_printer_without_a_name(self):
        kel = ScriptedKel(self.directory)
        place(kel.printers_json, "wrong types")
        self.run_and_quit(kel, lambda kel: self.assertEqual(
            [row["text"] for row in wait_for(lambda: kel.ask("rows listPrinter"), 20 * SLOWER, "rows")], [""]))

    def test_a_link_is_followed_when_saving(self):
        kel = ScriptedKel(self.directory)
        kel.printers_json.parent.mkdir(parents=True)
        target = self.directory / "elsewhere.json"
        target.write_text(GOOD_LIST)
        inode = target.stat().st_ino
        kel.printers_json.symlink_to(target)
        self.run_and_quit(kel, lambda kel: add_printer(kel, "second", 2))
        self.assertTrue(kel.printers_json.is_symlink())
        self.assertEqual(target.stat().st_ino, inode)
        self.assertEqual(stored_names(target), ["office", "second"])

    def test_a_full_disk_keeps_the_old_list_and_the_editor_open(self):
        kel = ScriptedKel(self.directory)
        kel.printers_json.parent.mkdir(parents=True)
        if not private_tmp.mount_small(kel.printers_json.parent, 64):
            self.skipTest("no file system of our own to fill")
        self.addCleanup(private_tmp.unmount, kel.printers_json.parent)
        kel.printers_json.write_text(GOOD_LIST)
        with open(kel.printers_json.parent / "filler", "wb", buffering=0) as filler:
            try:
                while True:
                    filler.write(b"x" * 4096)
            except OSError:
                pass

        def save(kel):
            open_editor(kel, "second", 2)
            kel.ask("click pbtnOk")
            wait_for(lambda: "cannot save the printer list" in kel.log_tail(), 10 * SLOWER, "one debug line")
            self.assertIn("AddPrinterPage", kel.ask("windows"))
            self.assertEqual(kel.printers_json.read_text(), GOOD_LIST)
            (kel.printers_json.parent / "filler").unlink()
            kel.ask("click pbtnOk")
            wait_for(lambda: "AddPrinterPage" not in kel.ask("windows"), 10 * SLOWER, "the editor to close")

        self.run_and_quit(kel, save)
        self.assertEqual(stored_names(kel.printers_json), ["office", "second"])

    def test_killed_while_it_saves_the_next_start_has_the_old_list_or_the_new_one(self):
        chance = random.Random(SEED)
        print(f"seed {SEED}, {KILLS} kills")
        kel = ScriptedKel(self.directory)
        names = [f"printer {i}" for i in range(300)]
        kel.set_list([(name, "127.0.0.1", "X1") for name in names])
        self.addCleanup(kel.kill)
        kel.start()
        for turn in range(KILLS):
            wait_for(lambda: kel.ask("count listPrinter") == len(names), 30 * SLOWER, "the list as it was")
            fresh = f"new {turn}"
            open_editor(kel, fresh, 3)
            kel.ask("click pbtnOk")
            time.sleep(chance.choice([0, chance.uniform(0, 0.004), chance.uniform(0, 0.02)]))
            kel.kill()
            kel.start()
            wait_for(lambda: kel.ask("count listPrinter") in (len(names), len(names) + 1), 30 * SLOWER, "a whole list")
            shown = [row["text"] for row in kel.ask("rows listPrinter")]
            self.assertIn(shown, [names, [*names, fresh]])
            names = shown
            self.assertEqual(stored_names(kel.printers_json), names)
            self.assertFalse(kel.printers_json.with_name("printers.json.journal").exists())
        self.assertEqual(kel.quit()[0], 0, kel.log_tail())

    def test_an_interrupted_save_is_completed_by_its_whole_journal_and_a_whole_list_left_alone(self):
        """As a kill leaves the two files; then what the next start shows, and what it leaves."""
        def record(name, address):
            return '{"ip":"%s","manufacturer":"MORVIK","model":"X1","printerName":"%s"}' % (address, name)

        old = f'[{record("office", "127.0.0.1")}]\n'
        new = f'[{record("office", "127.0.0.1")},{record("fresh", "127.0.0.2")}]\n'
        for left, journal, names, kept in (
                ("", new, ["office", "fresh"], new), (new[:40], new, ["office", "fresh"], new),
                (new[:-2], new, ["office", "fresh"], new), ("\0" * len(new), new, ["office", "fresh"], new),
                (old, new, ["office"], old), (new[:40], new[:-1], [], new[:40]), (new[:40], "", [], new[:40])):
            with self.subTest(left=left, journal=journal):
                kel = ScriptedKel(self.directory)
                kel.printers_json.parent.mkdir(parents=True, exist_ok=True)
                kel.printers_json.write_text(left)
                kel.printers_json.with_name("printers.json.journal").write_text(journal)
                self.run_and_quit(kel, lambda kel, names=names: self.check_rows(kel, names))
                self.assertEqual(kel.printers_json.read_text(), kept)
                self.assertEqual([entry.name for entry in kel.printers_json.parent.iterdir()], ["printers.json"])

    def check_rows(self, kel, names):
        if names:
            wait_for(lambda: kel.ask("count listPrinter"), 20 * SLOWER, "rows")
        else:
            self.refreshed(kel)
        self.assertEqual([row["text"] for row in kel.ask("rows listPrinter")], names)


def stored_names(path):
    return [row["printerName"] for row in json.loads(path.read_text())]


def open_editor(kel, name, last_octet):
    """Leaves the editor open with one more printer in it."""
    wait_for(lambda: kel.ask("count listPrinter"), 20 * SLOWER, "the list")
    kel.ask("click pbtnEditPrinterList")
    wait_for(lambda: "AddPrinterPage" in kel.ask("windows"), 10 * SLOWER, "the editor")
    kel.ask(f"type ledtName {name}")
    for octet, number in enumerate((127, 0, 0, last_octet)):
        kel.ask(f"type ledtIP/{octet} {number}")
    kel.ask("click pbtnAdd")
    kel.ask("ping")


def add_printer(kel, name, last_octet):
    open_editor(kel, name, last_octet)
    kel.ask("click pbtnOk")
    wait_for(lambda: "AddPrinterPage" not in kel.ask("windows"), 10 * SLOWER, "the editor to close")


# One life of the access library for each text in its cache's place: LIBRARY CACHE-FILE TEXTS. The first and the last are
# whole: there the cache's model is waited for, so that it is known to be read.
HOST_OF_CACHES = """
import ctypes, json, pathlib, shutil, sys, time
library = ctypes.CDLL(sys.argv[1])
cache, texts = pathlib.Path(sys.argv[2]), sorted(pathlib.Path(sys.argv[3]).iterdir())

def models():
    text = ctypes.c_char_p()
    code = library.tarn_getModels(ctypes.byref(text))
    said = text.value.decode()
    library.tarn_freeStr(ctypes.byref(text))
    return code, said

for number, text in enumerate(texts):
    shutil.copyfile(text, cache)
    codes = [library.tarn_init(), library.tarn_setOptions(b'{"enable_backends": ""}'),
             library.tarn_setPrinterList(b'[{"printerName": "office", "ip": "127.0.0.9"}]')]
    handle = ctypes.c_void_p()
    codes.append(library.tarn_openPrinter(b"office", ctypes.byref(handle), 0, 0))
    code, said = models()
    limit = time.monotonic() + 60
    while number in (0, len(texts) - 1) and "X1" not in said and time.monotonic() < limit:
        time.sleep(0.02)
        code, said = models()
    codes += [code, library.tarn_closePrinter(ctypes.byref(handle)), library.tarn_destroy()]
    print(json.dumps({"codes": codes, "models": said, "isAsItWas": cache.read_bytes() == text.read_bytes()}), flush=True)
"""


class AccessLibrarysFiles(Scratch):
    """tarn.json, the identity cache and the last values, through the real library."""

    def places(self):
        return {"configuration": self.directory / "config" / "tarn" / "tarn.json",
                "cache": self.directory / "cache" / "tarn" / "identities.json",
                "last values": self.directory / "state" / "tarn" / "last-values.jsonl"}

    def test_the_program_starts_with_any_of_them_in_any_shape(self):
        for name in self.places():
            for kind in ("deep", "huge", "directory", "fifo", "link into nowhere", "link loop"):
                with self.subTest(file=name, kind=kind):
                    for room in ("config", "cache", "state"):
                        shutil.rmtree(self.directory / room, ignore_errors=True)
                    path = self.places()[name]
                    place(path, kind)
                    before = picture_of(path)
                    kel = Kel(BUILD, self.directory, BUILD / "lib")
                    kel.set_list([("office", "127.0.0.1", "X1")])
                    self.run_and_quit(kel)
                    self.assertEqual([entry.name for entry in path.parent.iterdir()], [path.name])
                    # The user's own file is never written, last values only with an answer; the cache may be replaced by a
                    # whole one.
                    if picture_of(path) != before:
                        self.assertEqual(name, "cache", "the file is as it was")
                        self.assertEqual(json.loads(path.read_text())["format"], 1)

    def status(self):
        """One look at a silent address through the library, as the program takes it."""
        environment = {"PATH": os.environ["PATH"], "HOME": str(self.directory),
                       "XDG_CONFIG_HOME": str(self.directory / "config"), "XDG_CACHE_HOME": str(self.directory / "cache"),
                       "XDG_STATE_HOME": str(self.directory / "state")}
        environment.update({name: os.environ[name] for name in os.environ if name.endswith("SAN_OPTIONS")})
        return subprocess.run([str(BUILD / "bin" / "tarn-status"), "--list", str(self.directory / "list.json")], timeout=60,
                              env=environment, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)

    def test_configuration_cut_at_every_byte_or_of_any_text_is_no_reason_to_fail(self):
        whole = b'{"default":{"port":1,"community":"x"},"addresses":{"127.0.0.0/8":{"version":"1"}}}'
        path = self.places()["configuration"]
        (self.directory / "list.json").write_text("[]")
        expected = self.status()
        self.assertGreaterEqual(expected.returncode, 0, expected.stderr)
        for text in [*(whole[:length] for length in range(0, len(whole), 1 if SLOWER == 1 else 7)), *BAD_TEXTS.values()]:
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_bytes(text)
            done = self.status()
            with self.subTest(text=text[:60]):
                self.assertEqual(done.returncode, expected.returncode, done.stderr)
                self.assertEqual(done.stdout, expected.stdout)
                complaints = done.stderr.splitlines()[len(expected.stderr.splitlines()):]
                self.assertEqual(len(complaints), 1, done.stderr)
            self.assertEqual(path.read_bytes(), text)

    @unittest.skipIf(is_instrumented(), "the interpreter has not the sanitizers' runtime")
    def test_cache_cut_at_every_byte_or_of_any_text_is_as_none(self):
        whole = b'{"format":1,"models":["X1"],\n"printers":{\n"127.0.0.9":{"model":"X1","serial":"1","description":"d"}\n}}'
        texts = [whole, *(whole[:length] for length in range(len(whole))), *BAD_TEXTS.values(), whole]
        (self.directory / "texts").mkdir()
        for number, text in enumerate(texts):
            (self.directory / "texts" / f"{number:03}").write_bytes(text)
        path = self.places()["cache"]
        path.parent.mkdir(parents=True)
        environment = {"PATH": os.environ["PATH"], "HOME": str(self.directory), "XDG_CACHE_HOME": str(self.directory / "cache"),
                       "XDG_STATE_HOME": str(self.directory / "state")}
        done = subprocess.run([PYTHON, "-c", HOST_OF_CACHES, str(BUILD / "lib" / "libtarn.so.0"), path,
                               self.directory / "texts"], env=environment, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                              text=True, timeout=600)
        lives = [json.loads(line) for line in done.stdout.splitlines()]
        self.assertEqual((done.returncode, len(lives)), (0, len(texts)), f"{texts[len(lives) % len(texts)][:60]}: {done.stderr}")
        for text, life in zip(texts, lives):
            with self.subTest(text=text[:60], length=len(text)):
                self.assertEqual(set(life["codes"]), {0})
                self.assertEqual("X1" in life["models"], text == whole, life)
                self.assertTrue(life["isAsItWas"])


class Lock(Scratch):
    def setUp(self):
        super().setUp()
        self.assertTrue(IS_ALONE, "the lock file is shared with others: nothing can be put in its place")
        self.addCleanup(self.clear)
        self.clear()

    def clear(self):
        if LOCK.is_symlink() or LOCK.exists():
            LOCK.rmdir() if LOCK.is_dir() and not LOCK.is_symlink() else LOCK.unlink()

    def refused(self, **how):
        """The program's status where it cannot start: it is ended by the exception, at once and without a window."""
        kel = ScriptedKel(self.directory)
        done = subprocess.run([str(BUILD / "bin" / "kel")], env=kel.environment, timeout=20 * SLOWER,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, **how)
        self.assertEqual(done.returncode, -signal.SIGABRT, done.stdout)

    def works(self):
        self.run_and_quit(ScriptedKel(self.directory))

    def test_a_directory_in_its_place_ends_the_program(self):
        LOCK.mkdir()
        self.refused()

    def test_a_link_into_nowhere_ends_the_program(self):
        LOCK.symlink_to(self.directory / "nowhere" / "lock")
        self.refused()
        self.assertTrue(LOCK.is_symlink())

    def test_a_fifo_hangs_nobody(self):
        os.mkfifo(LOCK)
        self.works()
        self.assertTrue(stat.S_ISFIFO(LOCK.stat().st_mode))

    def test_a_fifo_does_not_hang_the_notice(self):
        os.mkfifo(LOCK)
        nobody = f"unix:path={self.directory}/no-bus"
        done = subprocess.run([str(BUILD / "bin" / "kel-notice")], env={**os.environ, "DBUS_SESSION_BUS_ADDRESS": nobody},
                              stdin=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True, timeout=30 * SLOWER)
        self.assertEqual(done.returncode, 1)
        self.assertTrue(done.stderr.startswith("Kel 已在运行\n"), done.stderr)

    def test_a_link_is_followed_and_its_target_not_truncated(self):
        target = self.directory / "somebody's file"
        target.write_text("precious")
        LOCK.symlink_to(target)
        self.works()
        self.assertEqual(target.read_text(), "precious")

    def test_a_dangling_link_is_created_through(self):
        target = self.directory / "target"
        LOCK.symlink_to(target)
        self.works()
        self.assertEqual(target.read_text(), "kel lock file")

    def test_the_file_is_created_once_with_13_characters_for_everybody_and_stays(self):
        self.works()
        self.assertEqual((LOCK.read_text(), stat.S_IMODE(LOCK.stat().st_mode)), ("kel lock file", 0o777))
        LOCK.write_text("of others")
        self.works()
        self.assertEqual(LOCK.read_text(), "of others")

    @unittest.skipUnless(os.getuid() == 0, "needs two users")
    def test_another_users_file_that_only_he_may_write_ends_the_program(self):
        LOCK.write_text("kel lock file")
        LOCK.chmod(0o644)
        os.chmod(self.directory, 0o777)
        self.refused(user=65534, group=65534, extra_groups=[])
        self.assertEqual(LOCK.read_text(), "kel lock file")

    @unittest.skipUnless(os.getuid() == 0, "needs two users")
    def test_another_users_instance_holds_the_lock_against_us(self):
        kel = ScriptedKel(self.directory / "first")
        self.addCleanup(kel.kill)
        kel.start()
        second = ScriptedKel(self.directory / "second")
        for place_ in (self.directory, self.directory / "second"):
            os.chmod(place_, 0o777)
        done = subprocess.run([str(BUILD / "bin" / "kel")], env=second.environment, timeout=20 * SLOWER, user=65534, group=65534,
                              extra_groups=[], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        self.assertEqual(done.returncode, 255, done.stdout)
        self.assertIn("kel.lock cannot be locked.", done.stdout)
        self.assertEqual(kel.ask("ping"), "pong")
        self.assertEqual(kel.quit()[0], 0)


if __name__ == "__main__":
    IS_ALONE = alone()
    main("files_test")
