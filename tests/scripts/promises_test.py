#!/usr/bin/python3
"""Each command that RELIABILITY.md and SECURITY.md name beside a promise runs something: what `ctest -R` selects is a
test, what `--gtest_filter` selects is in a source, test programs and scripts exist.

usage: promises_test.py BUILD-DIRECTORY; or without it, for the checker's own tests.
"""

import fnmatch
import pathlib
import re
import subprocess
import sys
import unittest

TREE = pathlib.Path(__file__).resolve().parents[2]
DOCUMENTS = ["SECURITY.md", "docs/RELIABILITY.md"]
OTHER_TREE = re.compile(r"--test-dir build/(\w+)")
TESTS_OF_OTHER_TREES = {"tsan": ["race_probe_test"]}  # which this one does not have
SUITE_TEST = re.compile(r"^\s*TEST(?:_F|_P)?\(\s*(\w+),\s*(\w+)\)", re.MULTILINE)


def commands(text):
    """What stands between backquotes; in tables a bar is written with a backslash."""
    return [found.replace("\\|", "|").replace("\n", " ") for found in re.findall(r"`([^`]+)`", text)]


def matches(pattern, test, is_parametrised):
    # Names of parametrised tests are PREFIX/SUITE.TEST/PARAMETER; the prefix is chosen elsewhere in the source.
    names = [test] + ([f"x/{test}/0"] if is_parametrised else [])
    return any(fnmatch.fnmatchcase(name, pattern) for name in names)


def complaints(text, ctest_names, gtest_names, parametrised):
    found = []
    for command in commands(text):
        selected = re.search(r"ctest.* -R (?:'([^']+)'|(\S+))", command)
        if selected:
            pattern = selected[1] or selected[2]
            # Each alternative by itself: one that is gone would hide behind the others.
            inner = re.fullmatch(r"\^\((.*)\)\$", pattern)
            for part in [f"^({each})$" for each in inner[1].split("|")] if inner else [pattern]:
                other = OTHER_TREE.search(command)
                known = TESTS_OF_OTHER_TREES[other[1]] if other else ctest_names
                if not any(re.search(part, name) for name in known):
                    found.append(f"no test: {command} ({part})")
        filtered = re.search(r"--gtest_filter='?([^'\s]+)", command)
        for pattern in filtered[1].split(":") if filtered else []:
            if not any(matches(pattern, name, name in parametrised) for name in gtest_names):
                found.append(f"no such case: {command} ({pattern})")
        program = re.match(r"build/dev/tests/(\w+)", command)
        if program and program[1] not in ctest_names:
            found.append(f"no such program: {command}")
        for path in re.findall(r"(?:^|\s)((?:\./)?(?:scripts|\.ci|tests)/[\w./-]+)", command):
            if not (TREE / path).exists():
                found.append(f"no such file: {command} ({path})")
    return found


class Checker(unittest.TestCase):
    KNOWN = dict(ctest_names=["exit_test", "files_test"], gtest_names=["Codec.Reads", "Curl.Posts"], parametrised={"Curl.Posts"})

    def test_takes_what_exists(self):
        text = r"`ctest --test-dir build/tsan -R race_probe_test`, `ctest -R '^(exit_test\|files_test)$'`, `build/dev/tests/exit_test --gtest_filter='Cod*:*/Curl.P*'`, `.ci/run tsan`"
        self.assertEqual(complaints(text, **self.KNOWN), [])

    def test_names_what_does_not(self):
        for text in ["`ctest -R gone`", r"`ctest -R '^(exit_test\|gone)$'`", "`build/dev/tests/gone`",
                     "`build/dev/tests/exit_test --gtest_filter='Codec.R*:Gone*'`", "`scripts/gone`"]:
            with self.subTest(text):
                self.assertEqual(len(complaints(text, **self.KNOWN)), 1)


def main():
    build = sys.argv.pop()
    listed = subprocess.run(["ctest", "--test-dir", build, "-N"], capture_output=True, text=True, check=True).stdout
    ctest_names = re.findall(r"Test\s+#\d+: (\S+)", listed)
    gtest_names, parametrised = [], set()
    for source in (TREE / "tests").rglob("*.cpp"):
        for line in SUITE_TEST.finditer(source.read_text(encoding="utf-8")):
            gtest_names.append(f"{line[1]}.{line[2]}")
            if "TEST_P" in line[0]:
                parametrised.add(gtest_names[-1])
    assert ctest_names and gtest_names
    wrong = [f"{document}: {complaint}" for document in DOCUMENTS
             for complaint in complaints((TREE / document).read_text(encoding="utf-8"), ctest_names, gtest_names, parametrised)]
    print("\n".join(wrong))
    own = unittest.main(argv=[sys.argv[0]], exit=False).result
    return 0 if not wrong and own.wasSuccessful() else 1


if __name__ == "__main__":
    if len(sys.argv) > 1:
        sys.exit(main())
    unittest.main()
