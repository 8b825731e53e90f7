"""What a bare Debian gets with a list of packages, read off apt's lists, and whose a file is, read off dpkg's."""

import collections
import functools
import glob
import os
import pathlib
import re
import subprocess


def _names(relations):
    """[[alternative, ...], ...] of a field like "a (>= 1), b | c:any"."""
    return [[re.match(r"\s*([^\s:(\[]+)", choice).group(1) for choice in relation.split("|")]
            for relation in relations.split(",") if relation.strip()]


@functools.lru_cache(None)
def _index():
    """({package: [[alternative, ...], ...]}, {virtual package: its providers}, what every Debian has)"""
    text = subprocess.run(["apt-cache", "dumpavail"], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.DEVNULL, text=True, check=False).stdout
    needs, providers, base = {}, collections.defaultdict(list), ["apt"]
    for stanza in text.split("\n\n"):
        fields = dict(re.findall(r"^(Package|Priority|Depends|Pre-Depends|Provides): (.*)$", stanza, re.M))
        name = fields.get("Package")
        if name is None or name in needs:
            continue  # of several versions the first, which is what apt would install
        needs[name] = _names(fields.get("Pre-Depends", "")) + _names(fields.get("Depends", ""))
        for (virtual,) in _names(fields.get("Provides", "")):
            providers[virtual].append(name)
        if fields.get("Priority") == "required":
            base.append(name)
    return needs, providers, base


def has_lists():
    return len(_index()[0]) > 1000


def closure(packages):
    """The packages that are there after installing some on a bare Debian, without what is but recommended: of alternatives
    one that is there anyway, or else the first that exists, as apt does it."""
    needs, providers, base = _index()
    have = set()
    due = collections.deque([[name] for name in (*base, *packages)])
    listed = {name for (name,) in due}

    def candidates(alternatives):
        for name in alternatives:
            if name in needs:
                yield name
            yield from providers.get(name, ())

    while due:
        choices = list(candidates(due.popleft()))
        if not choices or not have.isdisjoint(choices):
            continue
        chosen = next((name for name in choices if name in listed), choices[0])
        have.add(chosen)
        due.extend(needs[chosen])
    return have


@functools.lru_cache(None)
def _contents():
    """{path: packages} of everything that is installed."""
    found = {}
    for file in glob.glob("/var/lib/dpkg/info/*.list"):
        package = pathlib.Path(file).stem.split(":")[0]
        for path in pathlib.Path(file).read_text(encoding="utf-8").splitlines():
            found.setdefault(path, set()).add(package)
    return found


def owners(path):
    """The packages that a file belongs to: itself, or what alternatives lead to, each with /usr and without."""
    found = set()
    for each in (path, os.path.realpath(path)):
        for name in (each, each[4:] if each.startswith("/usr/") else "/usr" + each):
            found |= _contents().get(name, set())
    return found
