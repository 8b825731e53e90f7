"""Runs unittest cases and writes the JUnit report from which scripts/test counts: main("name") in place of unittest.main().

The report goes to $KEL_REPORT_DIR/<name>.xml ($KEL_REPORT_NAME names another); without that variable nothing is written.
$KEL_EXCEPTED: cases that are not run, as CLASS.CASE with colons between (scripts/test --arm64).
"""

import os
import pathlib
import sys
import time
import unittest
from xml.etree import ElementTree


class _Loader(unittest.TestLoader):
    def getTestCaseNames(self, testCaseClass):
        excepted = os.environ.get("KEL_EXCEPTED", "").split(":")
        return [name for name in super().getTestCaseNames(testCaseClass) if f"{testCaseClass.__name__}.{name}" not in excepted]


class _Result(unittest.TextTestResult):
    def __init__(self, *arguments, **named):
        super().__init__(*arguments, **named)
        self.rows = []

    def startTest(self, test):
        self._begun = time.monotonic()
        super().startTest(test)

    def _add(self, test, kind=None, text=""):
        self.rows.append((test.id(), time.monotonic() - getattr(self, "_begun", time.monotonic()), kind, text))

    def addSuccess(self, test):
        super().addSuccess(test)
        self._add(test)

    def addFailure(self, test, err):
        super().addFailure(test, err)
        self._add(test, "failure", self._exc_info_to_string(err, test))

    def addError(self, test, err):
        super().addError(test, err)
        self._add(test, "error", self._exc_info_to_string(err, test))

    def addSkip(self, test, reason):
        super().addSkip(test, reason)
        self._add(test, "skipped", reason)


def _write(path, name, rows):
    suite = ElementTree.Element("testsuite", name=name, tests=str(len(rows)))
    for kind, attribute in (("failure", "failures"), ("error", "errors"), ("skipped", "skipped")):
        suite.set(attribute, str(sum(1 for row in rows if row[2] == kind)))
    for identity, seconds, kind, text in rows:
        group, _, single = identity.rpartition(".")
        case = ElementTree.SubElement(suite, "testcase", classname=group, name=single, status="run",
                                     time=f"{seconds:.3f}")
        if kind:
            ElementTree.SubElement(case, kind, message=text.strip().splitlines()[-1] if text else "").text = text
    path.parent.mkdir(parents=True, exist_ok=True)
    ElementTree.ElementTree(suite).write(path, encoding="utf-8", xml_declaration=True)


def main(name):
    """Runs every case of __main__, writes the report, and exits with 0 only when nothing failed."""
    program = unittest.main(module="__main__", argv=[sys.argv[0], "-v", *sys.argv[1:]], exit=False,
                            testLoader=_Loader(),
                            testRunner=unittest.TextTestRunner(resultclass=_Result, stream=sys.stdout))
    directory = os.environ.get("KEL_REPORT_DIR")
    name = os.environ.get("KEL_REPORT_NAME", name)
    if directory:
        _write(pathlib.Path(directory) / f"{name}.xml", name, program.result.rows)
    sys.exit(0 if program.result.wasSuccessful() else 1)
