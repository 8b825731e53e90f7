#!/usr/bin/python3
"""on_screen.contains() with pictures made up for the purpose: a window that is not drawn yet is not on the screen."""

import pathlib
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from on_screen import contains  # noqa: E402

GREY = (90, 90, 90)
# The line with the most colours, by which it is looked for, is the fourth.
WINDOW = [[(10 * (column if line == 3 else column // 2), 20 * line, 255) for column in range(6)] for line in range(5)]


class OnScreen(unittest.TestCase):
    def shown(self, screen, window=None):
        """Whether the second picture, lines of points, is said to be in the first."""
        with tempfile.TemporaryDirectory() as directory:
            paths = []
            for name, lines in (("screen", screen), ("window", window or WINDOW)):
                paths.append(pathlib.Path(directory) / f"{name}.ppm")
                paths[-1].write_bytes(b"P6 %d %d 255\n" % (len(lines[0]), len(lines)) +
                                      bytes(value for line in lines for point in line for value in point))
            return contains(*paths)

    @staticmethod
    def screen(left, top, window, size=(12, 9)):
        lines = [[GREY] * size[0] for _ in range(size[1])]
        for number, line in enumerate(window):
            lines[top + number][left:left + len(line)] = line
        return lines

    def test_a_window_is_found_wherever_it_is(self):
        for left, top in ((0, 0), (3, 2), (6, 4)):
            self.assertTrue(self.shown(self.screen(left, top, WINDOW)), (left, top))

    def test_a_blank_window_is_not_the_drawn_one(self):
        self.assertFalse(self.shown(self.screen(3, 2, [[(255, 255, 255)] * 6] * 5)))

    def test_one_other_point_is_a_difference(self):
        for line, column in ((0, 0), (2, 3), (3, 4)):
            changed = [list(points) for points in WINDOW]
            changed[line][column] = GREY
            self.assertFalse(self.shown(self.screen(3, 2, changed)), (line, column))

    def test_the_last_line_and_column_may_end_within_a_point(self):
        cut = [line[:-1] + [GREY] for line in WINDOW[:-1]] + [[GREY] * 6]
        self.assertTrue(self.shown(self.screen(3, 2, cut)))

    def test_a_window_that_is_half_on_the_screen_is_not_on_it(self):
        beyond_right = self.screen(0, 1, [line[3:] for line in WINDOW])
        for number, line in enumerate(WINDOW):
            beyond_right[number][9:] = line[:3]
        self.assertFalse(self.shown(beyond_right))
        above = self.screen(3, 0, WINDOW[2:])
        above[-2:] = self.screen(3, 0, WINDOW[:2])[:2]
        self.assertFalse(self.shown(above))

    def test_lines_that_are_elsewhere_too_hide_no_window(self):
        lines = self.screen(6, 4, WINDOW)
        for number, line in enumerate(reversed(WINDOW)):
            lines[number][0:6] = line
        self.assertTrue(self.shown(lines))


if __name__ == "__main__":
    unittest.main()
