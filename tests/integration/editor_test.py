#!/usr/bin/python3
"""A user's way with the printer list, by real keys and mouse: add a printer, see it polled, restart, remove it."""


from harness import DATA, Kel, Simulator, address, main, seconds_until, wait_for
from window_case import WINDOW, WindowCase, setUpModule, tearDownModule  # noqa: F401

PORT = 16321
EDITOR = "添加打印机"
# "自动识别", as the program's JSON writer escapes it.
AUTOMATIC = "\\u81ea\\u52a8\\u8bc6\\u522b"

class Editor(WindowCase):
    def setUp(self):
        super().setUp()
        self.simulator = Simulator(PORT, "--web-port=0", f"{DATA}/colour.json@{address('3.7')}",
                                   f"{DATA}/mono.json@{address('3.118')}")
        self.addCleanup(self.simulator.stop)
        self.kel = Kel(self.desktop, self.id(), {address("3.0") + "/24": PORT})
        self.addCleanup(self.kel.stop)
        self.start()

    def stored(self):
        return self.kel.printers_json.read_bytes()

    def rows(self):
        """The names in the window's list."""
        window = self.app.window(WINDOW)
        return self.app.ask(lambda root: [row.name for row in window.find_all("list item")])

    def open_editor(self):
        self.ui.click(self.app.ask(lambda root: root.find("push button", "编辑打印机列表")))
        wait_for(lambda: self.app.window(EDITOR), 10, "the editor")

    def press(self, button):
        """Clicks a button of the editor."""
        self.ui.click(wait_for(lambda: self.app.window(EDITOR), 5, "the editor").find("push button", button))

    def octets(self):
        """The four fields of the address, from left to right."""
        fields = self.app.window(EDITOR).find_all("text")
        return sorted((field for field in fields if field.extents()[2] < 80), key=lambda field: field.extents()[0])

    def enter_name(self, name):
        name_field = next(node for node in self.app.window(EDITOR).find_all("text") if node.extents()[2] >= 80)
        self.ui.click(name_field, repeat=3)  # selects what is there
        self.ui.type_text(name)
        wait_for(lambda: name_field.text() == name, 5, "the name typed")

    def enter_printer(self, name, octets):
        """Types the name and, over what is there, each octet of the address."""
        self.enter_name(name)
        for field, digits in zip(self.octets(), octets.split(".")):
            self.ui.click(field, repeat=3)
            self.ui.keys(*(digits or ["BackSpace"]))
        wait_for(lambda: self.address_shown() == octets, 5, "the address typed")

    def names_in_editor(self):
        """What the editor's own list holds; the box of models has a list as well."""
        return [row.name for row in self.app.window(EDITOR).find("list").children()]

    def add(self, name, octets):
        self.enter_printer(name, octets)
        self.press("添加")
        wait_for(lambda: name in self.names_in_editor(), 5, f"{name} in the editor's list")

    def address_shown(self):
        return ".".join(field.text() for field in self.octets())

    def confirm(self):
        self.press("确定")
        wait_for(lambda: not self.app.window(EDITOR), 10, "the editor closed")

    def test_a_printer_added_by_hand_is_polled_kept_over_a_restart_and_removed(self):
        self.assertEqual(self.stored(), b"[]")
        self.open_editor()
        # The third digit moves on by itself, after fewer the period does.
        self.enter_name("office")
        self.ui.click(self.octets()[0])
        self.ui.keys(*"127", *"43", "period", "3", "period", "7")
        wait_for(lambda: self.address_shown() == "127.43.3.7", 5, "the address typed")
        self.press("添加")
        wait_for(lambda: self.names_in_editor() == ["office"], 5, "the name in the editor's list")
        self.assertEqual(self.stored(), b"[]", "nothing is stored before OK")
        self.assertEqual(self.simulator.requests(address("3.7")), 0, "nor polled")
        self.confirm()
        self.assertEqual(self.stored(), (f'[{{"ip":"{address("3.7")}","manufacturer":"MORVIK","model":"{AUTOMATIC}",'
                                         '"printerName":"office"}]\n').encode())

        taken = seconds_until(lambda: self.simulator.requests(address("3.7")) > 0, 20, "the printer is polled")
        self.assertLessEqual(taken, 5)
        taken = seconds_until(lambda: self.rows() == ["office"] and
                              self.app.ask(lambda root: self.ui.value_beside(root, "序列号：")) == "ORC4000001", 20,
                              "the window shows the printer")
        self.assertLessEqual(taken, 10)

        self.assertEqual(self.kel.run_second()[0], 255)
        self.leave()
        before = self.stored()
        self.start()
        wait_for(lambda: self.rows() == ["office"], 20, "the list after a restart")
        self.assertEqual(self.stored(), before)

        self.open_editor()
        self.ui.click(self.app.window(EDITOR).find("list item", "office"))
        self.press("移除")
        wait_for(lambda: self.names_in_editor() == [], 5, "the name gone from the editor")
        self.assertEqual(self.stored(), before, "nothing is stored before OK")
        self.confirm()
        self.assertEqual(self.stored(), b"null\n")
        taken = seconds_until(lambda: self.rows() == [], 20, "the row is gone")
        self.assertLessEqual(taken, 5)

    def leave(self):
        """文件, 退出: by the mouse."""
        self.ui.click(self.app.window(WINDOW).find("menu item", "文件"))
        self.ui.click(wait_for(lambda: self.app.ask(lambda root: root.find("menu item", "退出")), 5, "the menu"))
        self.assertEqual(self.kel.process.wait(20), 0)

    def test_several_printers_are_stored_in_their_order_and_the_middle_one_is_removed(self):
        self.open_editor()
        self.add("one", address("3.7"))
        self.add("two words", address("3.118"))
        self.add("three", address("3.7"))
        self.ui.click(self.app.window(EDITOR).find("list item", "two words"))
        self.press("移除")
        wait_for(lambda: self.names_in_editor() == ["one", "three"], 5, "the name gone")
        self.confirm()
        one = f'{{"ip":"{address("3.7")}","manufacturer":"MORVIK","model":"{AUTOMATIC}","printerName":"one"}}'
        self.assertEqual(self.stored().decode(), f'[{one},{one.replace("one", "three")}]\n')

    def test_an_incomplete_address_or_a_name_twice_adds_nothing(self):
        self.open_editor()
        self.enter_printer("incomplete", "127.43.3.")
        self.press("添加")
        self.add("office", address("3.7"))
        self.enter_printer("office", address("3.8"))
        self.press("添加")
        self.add("last", address("3.9"))  # by then the others had their chance
        self.assertEqual(self.names_in_editor(), ["office", "last"])

    def test_escape_discards_what_was_edited(self):
        self.open_editor()
        self.add("office", address("3.7"))
        self.ui.keys("Escape")
        wait_for(lambda: not self.app.window(EDITOR), 10, "the editor closed")
        self.assertEqual(self.stored(), b"[]")
        self.assertEqual(self.rows(), [])


if __name__ == "__main__":
    main("editor_test")
