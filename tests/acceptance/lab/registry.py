"""Reads the registry files of a Wine prefix."""

import re


class Key:
    """Values by lower-case name ("" is the default value); `names` has the names as they stand."""

    def __init__(self, path=""):
        self.path = path
        self.values = {}
        self.names = {}

    def __getitem__(self, name):
        return self.values[name.lower()]

    def get(self, name, default=None):
        return self.values.get(name.lower(), default)


class Hives:
    """HKLM and HKCU. Paths are given without regard to case; HKLM32 is the 32-bit view."""

    def __init__(self, system, user):
        self._keys = {"hklm": _read(system), "hkcu": _read(user)}

    def key(self, path):
        """The key at a path such as r"HKLM32\\Software\\Halvorex", or None."""
        root, _, below = path.partition("\\")
        below = below.lower()
        root = root.lower()
        if root == "hklm32":
            below = re.sub(r"^software(?=\\|$)", r"software\\wow6432node", below)
        return self._keys[root.rstrip("3264")].get(below)

    def value(self, path, name):
        """A value's text, or None if the key or the value is missing."""
        key = self.key(path)
        return None if key is None else key.get(name)

    def subkeys(self, path):
        """The names of the direct subkeys, lower-case, sorted."""
        root, _, below = path.partition("\\")
        below = below.lower()
        root = root.lower()
        if root == "hklm32":
            below = re.sub(r"^software(?=\\|$)", r"software\\wow6432node", below)
        prefix = below + "\\"
        names = {key[len(prefix):].split("\\")[0]
                 for key in self._keys[root.rstrip("3264")] if key.startswith(prefix)}
        return sorted(names)


def _read(path):
    keys = {}
    current = Key()
    for line in _logical_lines(path):
        if line.startswith("["):
            name = line[1:line.rindex("]")]
            path = _unescape(name)
            current = keys.setdefault(path.lower(), Key(path))
        else:
            match = re.match(r'(@|"(?:[^"\\]|\\.)*")=(.*)$', line, re.DOTALL)
            if match:
                name = "" if match[1] == "@" else _unescape(match[1][1:-1])
                current.values[name.lower()] = _data(match[2])
                current.names[name.lower()] = name
    return keys


def _logical_lines(path):
    pending = ""
    for line in path.read_text(encoding="utf-8", errors="replace").split("\n"):
        if pending.startswith(('"', "@")) and line.startswith("  "):
            pending = pending.rstrip("\\") + line.strip()
            continue
        if pending:
            yield pending
        pending = line
    if pending:
        yield pending


def _data(text):
    match = re.match(r'(?:str\([27]\):)?"((?:[^"\\]|\\.)*)"', text, re.DOTALL)
    if match:
        return _unescape(match[1])
    match = re.match(r"dword:([0-9a-f]{8})", text)
    if match:
        return int(match[1], 16)
    return text


def _unescape(text):
    simple = {"n": "\n", "r": "\r", "t": "\t", "0": "\0", "\\": "\\", '"': '"'}
    return re.sub(r"\\(?:x([0-9a-fA-F]{1,4})|(.))",
                  lambda m: chr(int(m[1], 16)) if m[1] else simple.get(m[2], m[2]), text)
