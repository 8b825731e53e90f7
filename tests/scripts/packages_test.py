#!/usr/bin/python3
"""usage: packages_test.py

Every program, file, library, plug-in, backend and Python module that scripts and tests start or load comes with the
packages of scripts/setup, and not with one that is on this machine for another reason. What is started is read off the
text of the files (started.py); which packages a bare Debian gets, off apt's lists (debian_packages.py).
Exit status: 0, 1, or 77 where apt cannot tell.
"""

import functools
import glob
import importlib.util
import os
import pathlib
import re
import subprocess
import sys
import unittest

import started
from debian_packages import closure, has_lists, owners

ROOT = pathlib.Path(__file__).resolve().parents[2]
PLACES = "/usr/bin /bin /usr/sbin /sbin /usr/libexec".split()
ROOTS = ("/usr/sbin/", "/sbin/")  # not where the shell of an ordinary user looks
PATTERNS = {
    "program": [place + "/{}" for place in PLACES],
    "maybe": [place + "/{}" for place in PLACES],
    "file": ["{}"],
    "typelib": ["/usr/lib/*/girepository-1.0/{}.typelib", "/usr/lib/girepository-1.0/{}.typelib"],
    "library": ["/lib/*/{}", "/usr/lib/*/{}"],
    "platform": [f"/usr/lib/*/qt5/plugins/platforms/libq{{}}{kind}.so" for kind in ("", "-generic")],
    "backend": ["/usr/lib/cups/backend-available/{}", "/usr/lib/cups/backend/{}"],
}
# (file, find): why it need not come with a package of the list.
EXCEPTIONS = {
    ("scripts/setup", "sudo"): "only whoever is not root needs it; without it, setup says what root has to do",
    ("scripts/fresh", "sudo"): "only whoever is not root needs it",
    ("scripts/arm64-tree", "sudo"): "only whoever is not root needs it",
    ("scripts/arm64-tree", "aarch64-linux-gnu-gcc"): "runs in the tree that this makes",
    ("scripts/package", "ccache"): "where there is none, both builds compile everything",
    ("scripts/try-packages", "sudo"): "scripts/fresh has put it there",
    ("scripts/install-packages", "systemctl"): "only where it is there has it anything to say",
}
# What scripts/setup is asked for by whoever runs them; everything else belongs to the tests.
PURPOSES = {"scripts/run": "demo", "scripts/demo.sh": "demo", "scripts/common.sh": "demo", "scripts/setup": "demo",
            "scripts/install-packages": "demo", ".ci/run": "ci", "scripts/fresh": "fresh", "scripts/enter-tree": "fresh",
            "scripts/arm64-tree": "fresh", "scripts/compare-demo": "demo",
            "scripts/analyse": "analyse", "scripts/tidy": "analyse", "scripts/coverage": "ci", "scripts/fuzz": "ci",
            "scripts/mutate": "ci",
            "scripts/package": "package", "scripts/pictures": "pictures", "scripts/try-packages": "packages"}
BY_ROOT = ("scripts/install-packages", "scripts/fresh", "scripts/enter-tree", "scripts/arm64-tree")
BENCH = ("scripts/bench", "scripts/soak")  # measures on a prepared machine; says itself what it misses


def output(*command):
    return subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                          text=True, check=False).stdout


def listed(purpose):
    if purpose == "packages":  # what ours depend on is there as well, and the Python that one is for
        return listed("desktop") + ["python3"]
    return output(ROOT / "scripts" / "setup", "--list", purpose).split()


def text_of(path):
    return (ROOT / path).read_text(encoding="utf-8")


def is_shell(path):
    with open(ROOT / path, "rb") as file:
        return path.endswith(".sh") or re.match(rb"#!.*\b(ba)?sh\b", file.readline()) is not None


def files(*places):
    found = sorted(str(path.relative_to(ROOT)) for place in places for path in (ROOT / place).rglob("*")
                   if path.is_file() and "__pycache__" not in path.parts and "data" not in path.parts
                   and "corpus" not in path.parts)
    return [path for path in found if path not in BENCH]


def everything():
    """{file: {(kind, name)}} of all scripts and tests, and of the product what it loads."""
    found = {}
    mine = files("scripts", ".ci", "tests")
    builtins = set(output("bash", "-c", "compgen -b -k").split())
    shells = {path: text_of(path) for path in mine if is_shell(path)}
    functions = {name: passes for text in shells.values() for name, passes in started.shell_functions(text).items()}
    for path, text in shells.items():
        found[path] = started.shell(text, functions, frozenset(builtins))
    pythons = {path: text_of(path) for path in mine if path.endswith(".py") or text_starts_python(path)}
    found.update(started.python(pythons))
    for path in mine + files("tarn/src", "printer", "ui", "app"):
        if path.endswith((".cpp", ".h", ".c")):
            found[path] = {find for find in started.cplusplus(text_of(path)) if find[1] not in builtins}
    cmakes = [path for path in mine if path.endswith((".cmake", "CMakeLists.txt"))]
    sources = {pathlib.Path(path).stem for path in mine if path.endswith(".cpp")}
    found["CMakeLists.txt"] = started.cmake([text_of(path) for path in cmakes + ["CMakeLists.txt"]], sources)
    return found


def text_starts_python(path):
    with open(ROOT / path, "rb") as file:
        return file.readline().startswith(b"#!/usr/bin/python3")


@functools.lru_cache(None)
def module_file(name):
    spec = importlib.util.find_spec(name)
    return spec.origin if spec is not None else ""


def paths_of(kind, name):
    if kind == "module":
        path = module_file(name)
        return [path] if path and os.path.isabs(path) else []
    return [path for pattern in PATTERNS[kind] for path in glob.glob(pattern.format(name))]


def is_own(kind, name, local):
    """A module of these tests, or nothing that a package could bring."""
    return (kind == "module" and (name in local or module_file(name) in ("built-in", "frozen")))


def complaint(kind, name, path, have):
    """Why this find would be missing on a bare Debian; None when it is there."""
    where = paths_of(kind, name)
    if kind == "program" and not where and name in have:
        return None  # not here, but in a package of its name, which is in the list
    if not where:
        # Libraries that tests want to be missing have such names; what the product loads must be there.
        absent_on_purpose = kind == "library" and path.startswith("tests/")
        return None if kind == "maybe" or absent_on_purpose else f"{path}: the {kind} {name} is not here"
    if kind == "program" and path not in BY_ROOT and "sbin" not in text_of(path) and all(p.startswith(ROOTS) for p in where):
        return f"{path}: the program {name} is where only root's shell looks"
    packages = set().union(*(owners(each) for each in where))
    if packages & have:
        return None
    what = "program" if kind == "maybe" else kind
    return f"{path}: the {what} {name} comes with {' or '.join(sorted(packages)) or 'no package'}, which is not in the list"


def complaints(found, closures):
    local = {pathlib.Path(path).stem for path in found}
    result = []
    for path, finds in sorted(found.items()):
        purpose = PURPOSES.get(path, "test")
        have = closures[purpose]
        for kind, name in sorted(finds):
            if (path, name) in EXCEPTIONS or is_own(kind, name, local):
                continue
            # What another purpose brings is judged where it is installed.
            if purpose not in ("test", "demo") and not paths_of(kind, name):
                continue
            said = complaint(kind, name, path, have)
            if said:
                result.append(said)
    return result


class Packages(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.found = everything()
        cls.closures = {purpose: closure(listed(purpose)) for purpose in {"test", *PURPOSES.values()}}

    def test_everything_comes_with_the_list(self):
        self.assertEqual(complaints(self.found, self.closures), [])

    def test_a_package_that_is_left_out_is_missed(self):
        brought = {"cups": "the backend usb", "x11-utils": "the program xprop", "python3-dbus": "the module dbus",
                   "iproute2": "the program ip", "snmp": "the program snmpget", "xvfb": "the program Xvfb",
                   "desktop-file-utils": "the program desktop-file-validate", "cups-ipp-utils": "the program ipptool"}
        closures = {purpose: closure(set(listed(purpose)) - brought.keys()) for purpose in self.closures}
        said = "\n".join(complaints(self.found, closures))
        for package, name in brought.items():
            self.assertIn(f"{name} comes with {package}, which is not in the list", said)
        self.assertIn("scripts/demo.sh: the program Xvfb", said)

    def test_a_program_of_roots_is_named_with_its_path(self):
        found = {"scripts/setup": {("program", "cupsdisable")}}
        self.assertIn("only root's shell looks", complaints(found, self.closures)[0])

    def test_every_exception_is_still_one(self):
        self.assertEqual([(path, name) for path, name in EXCEPTIONS
                          if not any(find[1] == name for find in self.found.get(path, ()))], [])


if __name__ == "__main__":
    if not has_lists():
        print("apt's lists of packages are not here: run apt-get update")
        sys.exit(77)
    unittest.main()
