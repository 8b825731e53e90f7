"""What files of this tree start, load and import, read off their text: nobody keeps a list of it.

Each find is a tuple (kind, name): ("program", "xprop"), ("file", "/usr/sbin/cupsd"), ("module", "dbus"),
("typelib", "Atspi-2.0"), ("library", "libcups.so.2"), ("platform", "xcb") for Qt's plug-ins, ("backend", "usb") for CUPS'.
"maybe" programs are words in a place where a command may stand: they count when there is such a program.
"""

import ast
import re
import types

from shell_commands import Script

ANYWHERE = [
    ("platform", re.compile(r"QT_QPA_PLATFORM\W+(?:=|,)?\W*([a-z]+)\b")),
    ("backend", re.compile(r"DeviceURI\s+([a-z]+):")),
    ("file", re.compile(r"""(?<![+] )["'](/(?:usr/)?(?:s?bin|lib|libexec)/[\w./+-]+)["']""")),
    ("library", re.compile(r'"(lib[\w+.-]+\.so\.\d+)"')),
]
WRAPPERS = {"env", "exec", "sudo", "timeout", "nice", "xargs", "unshare", "dbus-run-session", "words"}
PROGRAM = re.compile(r"[A-Za-z][\w.+-]*$")


def anywhere(text):
    return {(kind, name) for kind, pattern in ANYWHERE for name in pattern.findall(text)}


FUNCTION = re.compile(r"^([\w-]+)\(\) \{(.*?)(?:^\}| \}$)", re.M | re.S)


def shell_functions(text):
    """{function: whether it runs what it is given}"""
    return {name: re.search(r'"\$(@|\{@:\d\})"', body) is not None for name, body in FUNCTION.findall(text)}


def shell(text, functions=types.MappingProxyType({}), builtins=frozenset()):
    """functions: of all scripts, since they source each other."""
    script = Script(text)
    known = script.functions | functions.keys()
    found = set()
    for name, *arguments in script.commands:
        if functions.get(name) or name in WRAPPERS:
            found |= {("maybe", word) for word in arguments if PROGRAM.match(word)}
        if PROGRAM.match(name) and name not in known | builtins | {"words"}:
            found.add(("program", name))
    return found | anywhere(text)


class _Runners:
    """The functions that start what they are given: {name: (place among the arguments, whether it is a whole command
    there or a program's name)}."""

    def __init__(self, trees):
        self.takes = {f"subprocess.{name}": (0, True) for name in ("run", "Popen", "call", "check_call", "check_output")}
        self.takes.update({"shutil.which": (0, False), "os.execvp": (0, False), "os.execv": (0, False)})
        size = 0
        while size != len(self.takes):
            size = len(self.takes)
            for tree in trees:
                for node in ast.walk(tree):
                    if isinstance(node, ast.FunctionDef):
                        self._look_at(node)

    def _look_at(self, function):
        names = [argument.arg for argument in function.args.args if argument.arg not in ("self", "cls")]
        for call in ast.walk(function):
            given, whole = self._given(call)
            heads = self.heads(given) if whole else [given]
            for candidate, is_whole in [(given, whole)] + [(head, False) for head in heads]:
                if isinstance(candidate, ast.Name) and candidate.id in names:
                    self.takes.setdefault(function.name, (names.index(candidate.id), is_whole))

    def _given(self, node):
        """What stands in the command's place of a call, and whether it is a whole command."""
        if not isinstance(node, ast.Call):
            return None, False
        name = getattr(node.func, "attr", getattr(node.func, "id", None))
        module = getattr(getattr(node.func, "value", None), "id", "")
        place, whole = self.takes.get(f"{module}.{name}", self.takes.get(name, (None, False)))
        return (None, False) if place is None or place >= len(node.args) else (node.args[place], whole)

    @staticmethod
    def heads(given):
        """Of a list, the first element and what follows a "--"."""
        if not isinstance(given, (ast.List, ast.Tuple)):
            return []
        after = [following for separator, following in zip(given.elts, given.elts[1:])
                 if isinstance(separator, ast.Constant) and separator.value == "--"]
        return given.elts[:1] + after

    def programs(self, node, variables):
        """The programs that a call names. variables: {name: lists that it may be}."""
        given, whole = self._given(node)
        lists = variables.get(given.id, []) if isinstance(given, ast.Name) else [given]
        heads = [head for each in lists for head in self.heads(each)] if whole else [given]
        return {head.value for head in heads if isinstance(head, ast.Constant) and isinstance(head.value, str)}


def _assigned(tree):
    """{variable: every list that it is given in this file}"""
    found = {}
    for node in ast.walk(tree):
        if isinstance(node, ast.Assign) and isinstance(node.value, (ast.List, ast.Tuple)):
            for target in node.targets:
                if isinstance(target, ast.Name):
                    found.setdefault(target.id, []).append(node.value)
    return found


def _imports(tree):
    versions = {}
    modules = set()
    for node in ast.walk(tree):
        if isinstance(node, ast.Import):
            modules |= {alias.name for alias in node.names}
        elif isinstance(node, ast.ImportFrom) and node.module == "gi.repository":
            modules |= {f"gi.repository.{alias.name}" for alias in node.names}
        elif isinstance(node, ast.ImportFrom) and node.level == 0:
            modules.add(node.module)
        elif isinstance(node, ast.Call) and getattr(node.func, "attr", "") == "require_version":
            versions[node.args[0].value] = node.args[1].value
    for module in modules:
        if module.startswith("gi.repository."):
            name = module.rsplit(".", 1)[1]
            yield "typelib", f"{name}-{versions.get(name, '*')}"
        else:
            yield "module", module.split(".")[0]


def python(texts):
    """{file: finds} of all Python files at once, since one calls the other's functions."""
    trees = {file: ast.parse(text) for file, text in texts.items()}
    runners = _Runners(trees.values())
    result = {}
    for file, tree in trees.items():
        found = anywhere(texts[file]) | set(_imports(tree))
        variables = _assigned(tree)
        for node in ast.walk(tree):
            found |= {("program", name) for name in runners.programs(node, variables) if PROGRAM.match(name)}
        result[file] = found
    return result


# In C and C++: what system() and popen() are given, there or through a function with a parameter "command".
PASSED_ON = re.compile(r"\b(\w+)\(const std::string& command\)")
SHELL = re.compile(r"\b(?:system|popen)\(")
LISTED = re.compile(r'\bcommand\s*=\s*\{\s*"([^"]+)"')
EXECUTED = re.compile(r'\b(?:execlp?|execvp?|posix_spawnp)\([^"();]*"([^"]+)"')


def cplusplus(text):
    found = anywhere(text)
    found |= {("program", name) for name in LISTED.findall(text) + EXECUTED.findall(text) if PROGRAM.match(name)}
    if SHELL.search(text):
        names = {"system", "popen", *PASSED_ON.findall(text)}
        for line in re.findall(rf'\b(?:{"|".join(names)})\(\s*(?:std::string\()?\s*"([^"]*)"', text):
            found |= shell(line.split("'")[0].rstrip("<>|&; "))  # put together, it may end in the middle of something
    return found


def cmake(texts, sources):
    """Programs of the build have a target's name, or in a loop that of their source."""
    targets = {name for text in texts for name in re.findall(r"\w+\(\s*(\w+)", text)} | sources
    return {("program", name) for text in texts for name in re.findall(r"\bCOMMAND\s+([A-Za-z][\w.+-]*)", text)
            if name not in targets}
