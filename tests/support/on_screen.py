"""Whether a window is in a picture of the screen, as the program draws it."""

import subprocess


def _points(path):
    """(width, height, three octets a point) of a picture."""
    size = subprocess.run(["identify", "-format", "%w %h", str(path)], check=True, stdout=subprocess.PIPE, text=True)
    points = subprocess.run(["convert", str(path), "-alpha", "off", "-depth", "8", "rgb:-"], check=True,
                            stdout=subprocess.PIPE)
    return (*map(int, size.stdout.split()), points.stdout)


def _occurrences(needle, text):
    at = text.find(needle)
    while at >= 0:
        yield at
        at = text.find(needle, at + 1)


def contains(screen, window):
    """Whether the picture at the path window is part of the one at the path screen, wherever it is: every point of it but
    those of the last line and column, within which a window ends at a scale like 1.5."""
    width, height, whole = _points(screen)
    columns, lines, part = _points(window)
    columns, lines, stride, part_stride = 3 * (columns - 1), lines - 1, 3 * width, 3 * columns
    rows = [part[row * part_stride:row * part_stride + columns] for row in range(lines)]
    # Somewhere the line with the most to see, then all of them around it.
    chosen = max(range(lines), key=lambda row: len({rows[row][at:at + 3] for at in range(0, columns, 3)}))
    for at in _occurrences(rows[chosen], whole):
        corner = at - chosen * stride
        if corner >= 0 and at % 3 == 0 and at % stride + columns <= stride and all(
                whole.startswith(row, corner + number * stride) for number, row in enumerate(rows)):
            return True
    return False
