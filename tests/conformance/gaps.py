"""Compares the functions that the simulated machine declares with those that the library calls and those that the
conformance suite covers.

    gaps.py root

Prints each gap and fails if there is one: what is declared and neither called by the library nor needed by a test, and
what is called and in no conformance test.
"""

import pathlib
import re
import sys

DECLARATION = re.compile(r"(?:WINAPI|STDMETHODCALLTYPE)\s+(\w+)\(|^[\w:]+[ *]+\*?(_?\w+)\([^{};]*\)[^{};]*;", re.M)
# Declared for the sake of others: every interface has them, and callers reach them through the first release.
INTERFACE = {"AddRef"}


ALIAS = re.compile(r"^#define (_\w+) (_\w+)$", re.M)


def code(path):
    text = re.sub(r"//.*", "", path.read_text(encoding="utf-8"))
    for alias, name in ALIAS.findall(text):
        text = re.sub(rf"\b{name}\b", alias, text)
    return text


def words(folder):
    found = set()
    for path in folder.rglob("*"):
        if path.suffix in (".cpp", ".h") and "simulated" not in path.parts:
            found |= set(re.findall(r"\w+", code(path)))
    return found


def main(root):
    declared = set()
    for header in (root / "platform" / "simulated" / "include").rglob("*.h"):
        declared |= {name for pair in DECLARATION.findall(code(header)) for name in pair if name}
    called = words(root / "src")
    covered = words(root / "tests" / "conformance")
    needed = called | words(root / "tests") | words(root / "tools") | INTERFACE
    gaps = [f"{name} is declared, and nobody calls it" for name in sorted(declared - needed)]
    gaps += [f"{name} is called, and no conformance test covers it" for name in sorted((declared & called) - covered)]
    print("\n".join(gaps) or f"{len(declared)} functions declared, none missing")
    return 1 if gaps else 0


if __name__ == "__main__":
    sys.exit(main(pathlib.Path(sys.argv[1])))
