"""What the tests of the real window have in common: one private desktop a test program, the lock file, the window.

A test module imports setUpModule and tearDownModule too: unittest looks for them in the module of the tests.
"""

import subprocess
import time
import unittest

from harness import Desktop, alone_with_the_lock_file, wait_for

WINDOW = "Kel 打印机管理工具"


def setUpModule():
    WindowCase.desktop = Desktop()
    import accessibility  # binds itself to the accessibility bus of the moment
    WindowCase.ui = accessibility


def tearDownModule():
    WindowCase.desktop.close()


class WindowCase(unittest.TestCase):
    desktop = None
    ui = None  # the module accessibility

    def setUp(self):
        lock = alone_with_the_lock_file()
        lock.__enter__()
        self.addCleanup(lock.__exit__, None, None, None)

    def start(self):
        """Starts self.kel; self.app is the program as AT-SPI shows it, its window there."""
        self.kel.start()
        self.app = self.ui.Application(self.kel.process)
        wait_for(lambda: self.app.window(WINDOW), 30, f"the window; the program said: {self.kel.log()}")

    def visible_windows(self):
        return subprocess.run(["xdotool", "search", "--onlyvisible", "--name", f"^{WINDOW}$"],
                              stdout=subprocess.PIPE, text=True).stdout.split()

    def close_by_keys(self):
        """Keys pressed while the window manager is busy with a window that has just appeared can go astray: a user
        presses them again."""
        def closed():
            for window in self.visible_windows():
                subprocess.run(["xdotool", "windowactivate", "--sync", window], check=True)
                self.ui.keys("alt+F4")
                time.sleep(1)
            return not self.visible_windows()

        wait_for(closed, 30, "the window closed")

    def check_identity(self, model, serial):
        """Of a printer that answers too late for the list in which it is first named. The program takes a model from
        that list, so that this one shows from the next start on."""
        wait_for(lambda: self.beside("序列号：") == serial, 60, "the serial number")
        identities = self.kel.directory / "cache" / "tarn"
        wait_for(lambda: any(model in file.read_text() for file in identities.glob("*.json")), 30, "the model is remembered")
        self.kel.stop()
        self.start()
        wait_for(lambda: self.beside("型号：") == model, 30, "the model")
        wait_for(lambda: self.beside("序列号：") == serial, 60, "the serial number again")

    def beside(self, caption):
        """The text beside a caption of the window."""
        window = self.app.window(WINDOW)
        return window and self.app.ask(lambda root: self.ui.value_beside(root, caption))
