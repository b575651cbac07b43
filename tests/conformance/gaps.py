"""Compares what the simulated machine declares with what the library, its tools and its tests use and with what the
conformance suite covers.

    gaps.py root

Prints each gap and fails if there is one: a function that nobody but the machine's own tests calls, one that the
library calls and no conformance test does, a constant or type that nobody names, and a public function of the
machine's own headers that no other file calls.
"""

import collections
import pathlib
import re
import sys

FUNCTION = re.compile(r"(?:WINAPI|STDMETHODCALLTYPE)\s+(\w+)\(|^[\w:]+[ *]+\*?(_?\w+)\([^{};]*\)[^{};]*;", re.M)
NAME = re.compile(r"^#define (\w+)|^using (\w+) =|^(?:struct|enum|union) (\w+)|^    (\w+) = [^;]*,$", re.M)
ALIAS = re.compile(r"^#define (_\w+) (_\w+)$", re.M)
MEMBER = re.compile(r"(?:^|[\s*&])([a-z]\w*\b(?<!_))\([^;{}]*\)[^;{}()]*[;{]", re.M)
PRIVATE = re.compile(r"^private:.*?^};", re.M | re.S)
KEYWORDS = {"if", "for", "while", "switch", "return", "sizeof", "operator", "static_assert"}
# Every interface has it; callers reach it through the first release.
INTERFACE = {"AddRef"}


def code(path):
    text = re.sub(r"//.*", "", path.read_text(encoding="utf-8"))
    for alias, name in ALIAS.findall(text):
        text = re.sub(rf"\b{name}\b", alias, text)
    return text


def words(*folders, without=()):
    paths = [path for folder in folders for path in folder.rglob("*") if path.suffix in (".cpp", ".h")]
    return {
        word for path in paths if not set(without) & set(path.parts) for word in re.findall(r"\w+", code(path))
    }


def names(pattern, text):
    return {name for found in pattern.findall(text) for name in found if name}


def uncalled(machine, callers):
    """Yields the public functions of the machine's headers that neither another file of the machine nor a caller names."""
    paths = [path for path in machine.rglob("*") if path.suffix in (".cpp", ".h")]
    named = {path: set(re.findall(r"\w+", code(path))) for path in paths}
    for header in sorted(machine.rglob("*.h")):
        own = {header, header.with_suffix(".cpp")}
        known = callers.union(*(names for path, names in named.items() if path not in own))
        inline = re.sub(r'"[^"]*"', "", re.sub(PRIVATE, "", code(header)))
        uses = collections.Counter(re.findall(r"\w+", inline))
        for name in sorted(set(MEMBER.findall(inline)) - KEYWORDS - known):
            if uses[name] == 1:
                yield f"{name} of {header.name} is public, and nobody calls it"


def main(root):
    machine = root / "platform" / "simulated"
    headers = "\n".join(code(path) for path in (machine / "include").rglob("*.h"))
    functions = names(FUNCTION, headers)
    called = words(root / "src")
    needed = called | words(root / "tools", root / "tests", without=("conformance", "simulated")) | INTERFACE
    covered = words(root / "tests" / "conformance")
    gaps = [f"{name} is declared, and nobody calls it" for name in sorted(functions - needed)]
    gaps += [f"{name} is called, and no conformance test covers it" for name in sorted((functions & called) - covered)]
    uses = collections.Counter(re.findall(r"\w+", headers))
    known = needed | covered | words(machine / "machine") | {name for name, count in uses.items() if count > 1}
    gaps += [f"{name} is declared, and nobody names it" for name in sorted(names(NAME, headers) - functions - known)]
    gaps += uncalled(machine / "machine", words(root / "tests", root / "tools", root / "bench"))
    print("\n".join(gaps) or f"{len(functions)} functions declared, none missing")
    return 1 if gaps else 0


if __name__ == "__main__":
    sys.exit(main(pathlib.Path(sys.argv[1])))
