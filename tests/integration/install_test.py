#!/usr/bin/python3
"""What `cmake --install` makes: the list of files, and that an installed tree works from wherever it is moved to.

Environment: KEL_BUILD (a build tree). Programs needed: cmake, pkg-config, a C compiler, Xvfb, xwininfo.
"""

import configparser
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "support"))
from desktop import running, x_server  # noqa: E402
from harness import flags_of_the_library, main  # noqa: E402
from kel_driver import Kel, wait_for  # noqa: E402
from scripted_kel import BUILD, PYTHON, ROOT, alone  # noqa: E402

ID = "org.morvik.Kel"
ICONS = [f"share/icons/hicolor/{size}x{size}/apps/{ID}.png" for size in (16, 22, 24, 32, 48, 64, 128, 256)]
FILES = {
    "kel": ["bin/kel -> ../lib/kel/bin/kel", "lib/kel/bin/kel", "lib/kel/bin/kel-launcher", "lib/kel/bin/kel-notice",
            "lib/kel/bin/wqy-zenhei.ttf -> FONT", "lib/kel/lib/libtwheel.so",
            "lib/tmpfiles.d/kel.conf", f"share/applications/{ID}.desktop", f"share/metainfo/{ID}.metainfo.xml",
            "share/man/man1/kel.1", *ICONS, f"share/icons/hicolor/scalable/apps/{ID}.svg"],
    "tarn": ["lib/libtarn.so.0 -> libtarn.so.0.2.0", "lib/libtarn.so.0.2.0", "lib/kel/lib/libtarn.so -> ../../libtarn.so.0",
             *(f"lib/kel/python/tarn/{name}" for name in ("__init__.py", "_library.py", "_status.py", "py.typed"))],
    "tools": ["bin/printer-sim", "bin/tarn-status", "lib/systemd/user/tarn-record.service", "lib/systemd/user/tarn-record.timer",
              "share/bash-completion/completions/tarn-status",
              "share/man/man1/printer-sim.1", "share/man/man1/tarn-status.1", "share/man/man5/tarn.json.5",
              "share/zsh/site-functions/_tarn-status"],
    "dev": ["include/tarn/tarn.h", "lib/libtarn.so -> libtarn.so.0", "lib/pkgconfig/tarn.pc", "lib/cmake/tarn/tarnConfig.cmake",
            "lib/cmake/tarn/tarnConfigVersion.cmake", "lib/cmake/tarn/tarnTargets.cmake",
            "lib/cmake/tarn/tarnTargets-CONFIGURATION.cmake"],
}
PRINTER = "127.0.0.2"
PORT = 1161
EXAMPLE = ROOT / "docs" / "examples" / "states.c"
IS_SANITIZED = any(name.endswith("SAN_OPTIONS") for name in os.environ)


def run(*command, **options):
    done = subprocess.run([*map(str, command)], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          text=True, timeout=300, check=False, **options)
    if done.returncode != 0:
        raise AssertionError(f"{command}: {done.returncode}\n{done.stdout}")
    return done.stdout


def install(prefix, *arguments):
    run("cmake", "--install", BUILD, "--prefix", prefix, *arguments)


def listing(prefix):
    """What lies below a prefix: "PATH", or "PATH -> TARGET" for a link; nothing for directories."""
    found = []
    for path in prefix.rglob("*"):
        name = str(path.relative_to(prefix))
        if path.is_symlink():
            target = os.readlink(path)
            found.append(f"{name} -> {'FONT' if target.endswith('/wqy-zenhei.ttc') else target}")
        elif not path.is_dir():
            found.append(re.sub(r"(tarnTargets-)\w+", r"\1CONFIGURATION", name))
    return sorted(found)


class Installed(unittest.TestCase):
    """One tree for all, moved after it was installed."""

    @classmethod
    def setUpClass(cls):
        scratch = tempfile.TemporaryDirectory(prefix="kel-install-")
        cls.addClassCleanup(scratch.cleanup)
        cls.directory = pathlib.Path(scratch.name)
        install(cls.directory / "first")
        cls.prefix = cls.directory / "moved" / "prefix"
        cls.prefix.parent.mkdir()
        (cls.directory / "first").rename(cls.prefix)
        config = cls.directory / "tarn.json"
        config.write_text(json.dumps({"default": {"port": PORT, "ipp": "off"}}))
        cls.environment = {"PATH": os.environ["PATH"], "HOME": scratch.name, "LANG": "C.UTF-8", "TARN_CONFIG": str(config)}
        cls.environment.update({name: text for name, text in os.environ.items() if name.endswith("SAN_OPTIONS")})

    def simulate(self):
        command = [self.prefix / "bin" / "printer-sim", f"--port={PORT}", "--web-port=0",
                   f"{ROOT}/tests/data/mono.json@{PRINTER}"]
        simulator = self.enterContext(running(list(map(str, command))))
        self.assertRegex(simulator.stdout.readline(), "^ready: 1 printers")

    def start(self, **extra):
        home = tempfile.mkdtemp(dir=self.directory)
        kel = Kel(BUILD, home, extra={"TARN_CONFIG": self.environment["TARN_CONFIG"], **extra})
        kel.program = self.prefix / "bin" / "kel"
        kel.set_list([("office", PRINTER, "X1")])
        self.addCleanup(kel.kill)
        kel.start()
        return kel

    def test_everything_is_there_and_nothing_else(self):
        self.assertEqual(listing(self.prefix), sorted(sum(FILES.values(), [])))

    def test_every_manual_page_is_there(self):
        pages = {path.name for path in (ROOT / "docs").glob("*.[1-9]")}
        self.assertEqual({path.name for path in (self.prefix / "share/man").rglob("*.[1-9]")}, pages)
        self.assertIn("kel.1", pages)

    def test_every_link_leads_to_a_file(self):
        links = [path for path in self.prefix.rglob("*") if path.is_symlink()]
        self.assertEqual([path for path in links if not path.is_file()], [])
        outside = [path.name for path in links if self.prefix.resolve() not in path.resolve().parents]
        self.assertEqual(outside, ["wqy-zenhei.ttf"])

    def test_the_tools_read_a_printer(self):
        self.simulate()
        said = run(self.prefix / "bin" / "tarn-status", "--format=brief", PRINTER, env=self.environment)
        self.assertRegex(said, rf"^{PRINTER} +ready ")

    def test_the_program_shows_a_printer_with_its_own_libraries(self):
        self.simulate()
        kel = self.start()
        wait_for(lambda: kel.ask("rows listPrinter"), 30, "the printer's row")
        mapped = pathlib.Path(f"/proc/{kel.process.pid}/maps").read_text()
        for library in ("lib/libtarn.so.0.2.0", "lib/kel/lib/libtwheel.so"):
            self.assertIn(str(self.prefix / library), mapped)
        self.assertNotIn(str(BUILD / "lib"), mapped)
        self.assertEqual(kel.quit()[0], 0)

    def test_the_desktop_knows_the_window_by_its_class(self):
        entry = configparser.ConfigParser(interpolation=None)
        entry.read(self.prefix / "share" / "applications" / f"{ID}.desktop", encoding="utf-8")
        expected = entry["Desktop Entry"]["StartupWMClass"]
        with x_server() as display:
            kel = self.start(QT_QPA_PLATFORM="xcb", DISPLAY=display)
            wait_for(lambda: "MainWindow" in kel.ask("windows"), 30, "the window")
            tree = run("xwininfo", "-root", "-tree", "-display", display)
            self.assertRegex(tree, rf'\("[^"]*" "{expected}"\)')
            self.assertEqual(kel.quit()[0], 0)

    def test_the_installed_launcher_starts_the_program_beside_it(self):
        self.simulate()
        kel = self.start()
        done = subprocess.run([str(self.prefix / "lib/kel/bin/kel-launcher")], env=kel.environment, stdin=subprocess.DEVNULL,
                              stderr=subprocess.PIPE, text=True, timeout=300, check=False)
        self.assertEqual(done.returncode, 255)
        self.assertIn("kel.lock cannot be locked.", done.stderr)
        self.assertIn(f"kill {kel.process.pid} ", done.stderr)
        self.assertEqual(kel.quit()[0], 0)

    @unittest.skipIf(IS_SANITIZED, "Python is without the sanitizers' runtime")
    def test_python_reads_a_printer(self):
        self.simulate()
        environment = {**self.environment, "PYTHONPATH": str(self.prefix / "lib/kel/python"), "PYTHONDONTWRITEBYTECODE": "1"}
        said = run(PYTHON, "-c", f"import tarn; print(tarn.read('{PRINTER}').model)", env=environment)
        self.assertIn("Orion", said)

    @unittest.skipIf(IS_SANITIZED, "the example is built without the sanitizers' runtime")
    def test_pkg_config_and_cmake_find_the_library_where_it_was_moved(self):
        self.simulate()
        flags = flags_of_the_library(self.prefix / "lib/pkgconfig")
        run("cc", "-o", self.directory / "states", EXAMPLE, *flags)
        project = self.directory / "project"
        project.mkdir()
        (project / "CMakeLists.txt").write_text(
            "cmake_minimum_required(VERSION 3.24)\nproject(example LANGUAGES C)\nfind_package(tarn 2.0 REQUIRED)\n"
            f'add_executable(states "{EXAMPLE}")\n'
            "target_link_libraries(states PRIVATE tarn::tarn)\n")
        run("cmake", "-S", project, "-B", project / "build", f"-DCMAKE_PREFIX_PATH={self.prefix}")
        run("cmake", "--build", project / "build")
        for program in (self.directory / "states", project / "build" / "states"):
            self.assertRegex(run(program, PRINTER, env=self.environment), rf"^{PRINTER}: \w+, \d+ pages, serial \w+\n$")


class Components(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory(prefix="kel-components-")
        self.addCleanup(scratch.cleanup)
        self.prefix = pathlib.Path(scratch.name)

    def test_the_desktop_file_names_the_launcher_where_it_is_installed(self):
        plain = "{}" if re.fullmatch(r"[A-Za-z0-9/._+-]+", str(self.prefix)) else '"{}"'
        for name, quoted in (("plain", plain), ("two words%", '"{}"')):
            with self.subTest(name):
                prefix = self.prefix / name
                install(prefix, "--component", "kel")
                entry = configparser.ConfigParser(interpolation=None)
                file = prefix / "share" / "applications" / f"{ID}.desktop"
                entry.read(file, encoding="utf-8")
                launcher = str(prefix / "lib/kel/bin/kel-launcher")
                self.assertEqual(entry["Desktop Entry"]["Exec"], quoted.format(launcher.replace("%", "%%")))
                self.assertTrue(os.access(launcher, os.X_OK))
                run("desktop-file-validate", file)

    def test_each_component_has_its_files(self):
        for component, files in FILES.items():
            with self.subTest(component):
                install(self.prefix / component, "--component", component)
                self.assertEqual(listing(self.prefix / component), sorted(files))

    def test_uninstall_leaves_only_what_was_there_before(self):
        own = self.prefix / "lib" / "kel" / "mine"
        other = self.prefix / "share" / "applications" / "other.desktop"
        for path in (own, other):
            path.parent.mkdir(parents=True)
            path.touch()
        install(self.prefix)
        cache = self.prefix / "lib/kel/python/tarn/__pycache__"
        cache.mkdir()
        (cache / "_status.cpython-311.pyc").touch()
        run("cmake", "--build", BUILD, "--target", "uninstall")
        self.assertEqual(listing(self.prefix), ["lib/kel/mine", "share/applications/other.desktop"])
        self.assertFalse((self.prefix / "lib/kel/python").exists())
        self.assertFalse((self.prefix / "include/tarn").exists())
        with self.assertRaisesRegex(AssertionError, "Nothing was installed"):
            run("cmake", "--build", BUILD, "--target", "uninstall")

    def test_destdir_counts_for_both(self):
        environment = {**os.environ, "DESTDIR": str(self.prefix / "root")}
        run("cmake", "--install", BUILD, "--prefix", "/opt/kel", env=environment)
        self.assertTrue((self.prefix / "root/opt/kel/bin/kel").is_symlink())
        run("cmake", "--build", BUILD, "--target", "uninstall", env=environment)
        self.assertEqual(listing(self.prefix), [])


if __name__ == "__main__":
    alone()
    main("install_test")
