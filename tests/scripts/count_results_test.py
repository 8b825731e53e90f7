#!/usr/bin/python3
"""scripts/count-results against ctest runs made up for the purpose: what it must not miss."""
import os
import subprocess
import sys
import tempfile
import unittest

SCRIPTS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "scripts")

GTEST = ('<testsuites><testsuite name="S"><testcase name="a" status="run" result="completed"/>'
         '<testcase name="b" status="run" result="completed">%s</testcase></testsuite></testsuites>')
QTEST = ('<testsuite name="T"><testcase result="pass" name="initTestCase"/><testcase result="pass" name="a"/>'
         '<testcase %s name="b">%s</testcase><testcase result="pass" name="cleanupTestCase"/></testsuite>')
PYTHON = ('<testsuite name="P"><testcase classname="C" name="a" time="0.1"/>'
          '<testcase classname="C" name="b" time="0.1">%s</testcase></testsuite>')


class CountResults(unittest.TestCase):
    def count(self, program, timeout=20, told_by_environment=False, options=()):
        """(last line, exit status) for a tree with one test named t, whose program is the shell text given.

        The lines before the last are in self.named.
        """
        with tempfile.TemporaryDirectory() as build:
            build = os.path.realpath(build)
            report = os.path.join(build, "reports", "t.xml")
            os.mkdir(os.path.dirname(report))
            with open(os.path.join(build, "t.sh"), "w", encoding="utf-8") as script:
                script.write(program)
            with open(os.path.join(build, "CTestTestfile.cmake"), "w", encoding="utf-8") as tests:
                option = f' "--gtest_output=xml:{report}"' if told_by_environment is False and (
                    "$REPORT" in program or "#reports" in program) else ""
                environment = f"REPORT={report}" + (
                    f";KEL_REPORT_DIR={os.path.dirname(report)}" if told_by_environment else "")
                tests.write(f'add_test(t "/bin/sh" "{build}/t.sh"{option})\n'
                            f'set_tests_properties(t PROPERTIES TIMEOUT {timeout} SKIP_RETURN_CODE 77 '
                            f'ENVIRONMENT "{environment}")\n')
            subprocess.run(["ctest", "--test-dir", build, "--output-junit", os.path.join(build, "ctest.xml")],
                           stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=False)
            done = subprocess.run([os.path.join(SCRIPTS, "count-results"), *options, build], check=False,
                                  stdout=subprocess.PIPE, text=True)
            *self.named, last = done.stdout.splitlines()
            return last, done.returncode

    def writes(self, report, status=0):
        return f"cat >$REPORT <<'X'\n{report}\nX\nexit {status}\n"

    def test_each_googletest_test_counts(self):
        self.assertEqual(self.count(self.writes(GTEST % "")), ("2 passed, 0 failed", 0))

    def test_each_python_test_counts(self):
        self.assertEqual(self.count(self.writes(PYTHON % "")), ("2 passed, 0 failed", 0))

    def test_python_error_is_a_failure(self):
        self.assertEqual(self.count(self.writes(PYTHON % '<error message="x"/>', 1)), ("1 passed, 1 failed", 1))

    def test_python_skip(self):
        self.assertEqual(self.count(self.writes(PYTHON % '<skipped message="x"/>')),
                         ("1 passed, 0 failed, 1 skipped", 0))

    def test_report_directory_told_by_the_environment(self):
        self.assertEqual(self.count(self.writes(GTEST % ""), told_by_environment=True), ("2 passed, 0 failed", 0))

    def test_no_report_in_the_directory_told(self):
        self.assertEqual(self.count("exit 0\n", told_by_environment=True), ("0 passed, 1 failed", 1))

    def test_googletest_failure(self):
        self.assertEqual(self.count(self.writes(GTEST % '<failure message="x"/>', 1)), ("1 passed, 1 failed", 1))

    def test_googletest_skip(self):
        self.assertEqual(self.count(self.writes(GTEST % '<skipped message="x"/>')),
                         ("1 passed, 0 failed, 1 skipped", 0))

    def test_what_did_not_pass_is_named_with_its_program(self):
        self.count(self.writes(GTEST % '<skipped message="x"/>'))
        self.assertEqual(self.named, ["skipped: S.b (t)"])
        self.count(self.writes(GTEST % '<failure message="x"/>', 1))
        self.assertEqual(self.named, ["failed: S.b (t)"])

    def test_each_names_what_passed_too(self):
        self.count(self.writes(GTEST % '<skipped message="x"/>'), options=["--each"])
        self.assertEqual(self.named, ["passed: S.a (t)", "skipped: S.b (t)"])

    def test_each_qtest_function_counts_and_the_frame_does_not(self):
        self.assertEqual(self.count(self.writes(QTEST % ('result="pass"', ""))), ("2 passed, 0 failed", 0))

    def test_qtest_failure(self):
        self.assertEqual(self.count(self.writes(QTEST % ('result="fail"', '<failure result="fail"/>'), 1)),
                         ("1 passed, 1 failed", 1))

    def test_qtest_unexpected_pass_is_a_failure(self):
        self.assertEqual(self.count(self.writes(QTEST % ('result="xpass"', '<failure result="xpass"/>'), 1)),
                         ("1 passed, 1 failed", 1))

    def test_qtest_skip_has_no_result(self):
        self.assertEqual(self.count(self.writes(QTEST % ("", ""))), ("1 passed, 0 failed, 1 skipped", 0))

    def test_no_report_is_a_failure_even_if_the_program_ends_well(self):
        self.assertEqual(self.count("#reports\nexit 0\n"), ("0 passed, 1 failed", 1))

    def test_crash_before_the_report(self):
        self.assertEqual(self.count("#reports\nkill -SEGV $$\n"), ("0 passed, 1 failed", 1))

    def test_report_cut_by_a_crash(self):
        self.assertEqual(self.count("printf '<testsuite><testcase' >$REPORT\nkill -SEGV $$\n"),
                         ("0 passed, 1 failed", 1))

    def test_crash_after_a_good_report(self):
        self.assertEqual(self.count(self.writes(GTEST % "").replace("exit 0", "kill -ABRT $$")),
                         ("2 passed, 1 failed", 1))

    def test_timeout(self):
        self.assertEqual(self.count("#reports\nexec sleep 30\n", timeout=1), ("0 passed, 1 failed", 1))

    def test_plain_test_counts_as_one(self):
        self.assertEqual(self.count("exit 0\n"), ("1 passed, 0 failed", 0))

    def test_plain_test_fails(self):
        self.assertEqual(self.count("exit 3\n"), ("0 passed, 1 failed", 1))

    def test_nothing_passed_is_no_success(self):
        self.assertEqual(self.count("exit 77\n"), ("0 passed, 0 failed, 1 skipped", 1))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
