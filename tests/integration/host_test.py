#!/usr/bin/python3
"""Programs outside the tree that use libtarn: found by pkg-config and CMake, the example in C, and what the library does to
the rest of its host."""

import json
import os
import pathlib
import re
import subprocess
import tempfile
import unittest

from harness import BUILD, ROOT, Simulator, flags_of_the_library, main, own_address, still

PORT = 16375
GOOD, AWAY = own_address(1), own_address(9)
EXAMPLE = ROOT / "docs" / "examples" / "states.c"
HOST = ROOT / "tests" / "integration" / "host" / "host.c"
STRICT = ["-std=c99", "-Wall", "-Wextra", "-Wpedantic", "-Werror"]
IS_SANITIZED = any(name.endswith("SAN_OPTIONS") for name in os.environ)


def run(*command, **options):
    done = subprocess.run([*map(str, command)], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          text=True, timeout=300, **options)
    if done.returncode != 0:
        raise AssertionError(f"{command}: {done.returncode}\n{done.stdout}")
    return done.stdout


@unittest.skipIf(IS_SANITIZED, "these programs are built without the sanitizers' runtime")
class Host(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls._directory = tempfile.TemporaryDirectory(prefix="kel-host-")
        cls.directory = pathlib.Path(cls._directory.name)
        cls.simulator = Simulator(PORT, "--web-port=0", f"{still('colour.json', cls.directory)}@{GOOD}")
        (cls.directory / "tarn.json").write_text(json.dumps({"default": {"port": PORT, "ipp": "off"}}))
        cls.environment = {"PATH": os.environ["PATH"], "HOME": cls._directory.name,
                           "TARN_CONFIG": str(cls.directory / "tarn.json")}

    @classmethod
    def tearDownClass(cls):
        cls.simulator.stop()
        cls._directory.cleanup()

    def flags(self):
        return flags_of_the_library(BUILD / "lib" / "pkgconfig")

    def build(self, source):
        program = self.directory / source.stem
        run("cc", *STRICT, "-o", program, source, *self.flags())
        return program

    def check_example(self, program):
        self.assertEqual(run(program, GOOD, AWAY, env=self.environment),
                         f"{GOOD}: idle, 12840 pages, serial ORC4000001\n{AWAY}: unreachable, -1 pages, serial \n")

    def test_pkg_config_finds_the_library_for_the_example(self):
        self.check_example(self.build(EXAMPLE))

    def test_pkg_config_tells_the_version(self):
        environment = {**os.environ, "PKG_CONFIG_PATH": str(BUILD / "lib" / "pkgconfig")}
        said = run(BUILD / "bin" / "tarn-status", "--version").split()[-1]
        self.assertEqual(run("pkg-config", "--modversion", "tarn", env=environment).strip(), said)

    def test_cmake_finds_the_library_for_the_example(self):
        project = self.directory / "project"
        project.mkdir()
        (project / "CMakeLists.txt").write_text(
            "cmake_minimum_required(VERSION 3.24)\nproject(example LANGUAGES C)\nfind_package(tarn 2.0 REQUIRED)\n"
            f'add_executable(states "{EXAMPLE}")\n'
            "target_link_libraries(states PRIVATE tarn::tarn)\n")
        run("cmake", "-S", project, "-B", project / "build", f"-DCMAKE_PREFIX_PATH={BUILD}")
        run("cmake", "--build", project / "build")
        self.check_example(project / "build" / "states")

    def test_cmake_refuses_another_major_version(self):
        project = self.directory / "refused"
        project.mkdir()
        (project / "CMakeLists.txt").write_text(
            "cmake_minimum_required(VERSION 3.24)\nproject(example LANGUAGES NONE)\nfind_package(tarn 3.0 REQUIRED)\n")
        with self.assertRaisesRegex(AssertionError, "tarn"):
            run("cmake", "-S", project, "-B", project / "build", f"-DCMAKE_PREFIX_PATH={BUILD}")

    def test_the_example_is_short_and_stands_in_the_page(self):
        text = EXAMPLE.read_text()
        self.assertLessEqual(len(text.splitlines()), 35)
        page = (ROOT / "docs" / "HOSTS.md").read_text()
        self.assertIn("examples/states.c", page)
        self.assertEqual(re.findall(r"tarn_\w+", text), [name for name in re.findall(r"tarn_\w+", text) if name in page])

    def test_the_header_is_c_of_every_standard_and_cpp(self):
        source = self.directory / "only.c"
        source.write_text("#include <tarn/tarn.h>\nint main(void) { return tarn_destroy(); }\n")
        include = [flag for flag in self.flags() if flag.startswith("-I")]
        for language in ("-std=c99", "-std=c11", "-std=c17"):
            run("cc", language, "-Wall", "-Wpedantic", "-Werror", "-fsyntax-only", *include, source)
        run("c++", "-std=c++11", "-x", "c++", "-Wall", "-Wpedantic", "-Werror", "-fsyntax-only", *include, source)

    def test_signals_children_and_other_libraries_are_left_alone(self):
        program = self.build(HOST)
        begin = ["init 0", "options 0", "list 0", "state 3", "takers 0 of some", "signals here", "sigpipe kept", "child 7",
                 "inherited 0", "state 3", "loaded"]
        lean = json.dumps({"enable_usb_printer_discovery": False})
        self.assertEqual(run(program, GOOD, lean, env=self.environment).splitlines(), [*begin, "destroy 0", "threads 1"])
        all_ways = json.dumps({"enable_cups_printer": True})  # their threads take no signals either
        said = run(program, GOOD, all_ways, env=self.environment).splitlines()
        self.assertEqual(said[:len(begin)], begin)
        self.assertEqual(said[-2:], ["destroy 0", "threads 1"])

    def test_the_library_itself_needs_none_of_the_libraries_that_it_binds(self):
        needed = run("objdump", "-p", BUILD / "lib" / "libtarn.so")
        for name in ("netsnmp", "crypto", "ssl", "cups", "curl", "usb"):
            self.assertNotRegex(needed, rf"NEEDED +lib{name}")


if __name__ == "__main__":
    main("host_test")
