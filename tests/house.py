"""Holds the rooms of the house to whom they may know, and the files to a few plain rules.

usage: house.py <root of the repository>
"""

import re
import sys
from pathlib import Path

# Room -> rooms whose headers it may include, beside its own. The innermost folder counts.
MAY_KNOW = {
    "windows/customactions": ["windows/installerdll", "windows/au", "windows/common", "common/windows",
                              "common/share"],
    "windows/installerdll": ["windows/common", "common/windows", "common/share", "common/share/progress"],
    "windows/au": ["windows/common", "common/windows", "common/share"],
    "windows/common": ["common/windows", "common/share", "settings/share", "zip"],
    "common/windows": ["common/share"],
    "common/share/progress": ["common/share", "ipc"],
    "common/share": [],
    "ipc": ["common/windows", "common/share", "windows/common"],
    "settings/share": [],
    "zip": [],
}
# The faces of the two libraries inside; everything else of theirs is their own.
FACES = {"settings/share": {"settings/share/settings.h", "settings/share/SettingsException.h"},
         "zip": {"zip/zip.h", "zip/Entries.h"}}
PRODUCT_BANS = [
    (r'\bwchar_t\b|(?<![\w"])L"', "wide text is TCHAR and _T(\"\")"),
    (r"#\s*include\s*<(iostream|sstream|fstream|ostream|istream|iomanip|locale|regex|format|filesystem)>",
     "streams and their like triple the size of the library"),
    (r"(?i)simulat", "product code doesn't know which machine it runs on"),
    (r"#\s*if(def|ndef)?\b.*(WIN32|__linux__|__MINGW)", "no platform switch in product code"),
]


def room_of(path):
    names = sorted(MAY_KNOW, key=len, reverse=True)
    return next((n for n in names if str(path).startswith(n + "/")), None)


def check_product_file(source, path):
    room = room_of(path)
    if room is None:
        yield f"src/{path}: stands in no room"
        return
    text = source.read_text(encoding="utf-8")
    for number, line in enumerate(text.splitlines(), 1):
        for pattern, reason in PRODUCT_BANS:
            # Text.h names every character type that it is not made for.
            if re.search(pattern, line) and path.name != "Text.h":
                yield f"src/{path}:{number}: {reason}"
        include = re.match(r'#include "([^"]+)"', line)
        if not include:
            continue
        target = include[1]
        known = room_of(target)
        if known is None:
            yield f"src/{path}:{number}: includes are written from src/: {target}"
        elif known != room and known not in MAY_KNOW[room]:
            yield f"src/{path}:{number}: {room} may not know {known}"
        elif known != room and known in FACES and target not in FACES[known]:
            yield f"src/{path}:{number}: {target} is no face of {known}"


def main():
    root = Path(sys.argv[1])
    wrong = []
    for source in sorted((root / "src").rglob("*")):
        if source.suffix in (".h", ".cpp", ".c"):
            wrong += check_product_file(source, source.relative_to(root / "src"))
    print("\n".join(wrong) if wrong else "the house is in order")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
