"""Checks the layering of the library (which component may include which) and a few rules for its files.

usage: layering.py <root of the repository>

Prints one line for each violation. Exit status 1 if there is one.
"""

import re
import sys
from pathlib import Path

# Component -> components whose headers it may include, beside its own. The innermost directory counts.
ALLOWED = {
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
# The public headers of the two inner libraries; their other headers are private.
PUBLIC_HEADERS = {"settings/share": {"settings/share/settings.h", "settings/share/SettingsException.h"},
                  "zip": {"zip/zip.h", "zip/Entries.h"}}
FORBIDDEN = [
    (r'\bwchar_t\b|(?<![\w"])L"', "wide strings are TCHAR and _T(\"\")"),
    (r"#\s*include\s*<(iostream|sstream|fstream|ostream|istream|iomanip|locale|regex|format|filesystem)>",
     "streams and similar headers triple the size of the library"),
    (r"(?i)simulat", "the library must not depend on the simulated machine"),
    (r"#\s*if(def|ndef)?\b.*(WIN32|__linux__|__MINGW)", "no conditional compilation by platform in the library"),
]


def component_of(path):
    names = sorted(ALLOWED, key=len, reverse=True)
    return next((n for n in names if str(path).startswith(n + "/")), None)


def violations(source, path):
    component = component_of(path)
    if component is None:
        yield f"src/{path}: belongs to no component"
        return
    text = source.read_text(encoding="utf-8")
    for number, line in enumerate(text.splitlines(), 1):
        for pattern, reason in FORBIDDEN:
            # Text.h deletes its operators for each other character type, by name.
            if re.search(pattern, line) and path.name != "Text.h":
                yield f"src/{path}:{number}: {reason}"
        include = re.match(r'#include "([^"]+)"', line)
        if not include:
            continue
        target = include[1]
        included = component_of(target)
        if included is None:
            yield f"src/{path}:{number}: includes are written relative to src/: {target}"
        elif included != component and included not in ALLOWED[component]:
            yield f"src/{path}:{number}: {component} may not include {included}"
        elif included != component and included in PUBLIC_HEADERS and target not in PUBLIC_HEADERS[included]:
            yield f"src/{path}:{number}: {target} is not a public header of {included}"


def main():
    root = Path(sys.argv[1])
    found = []
    for source in sorted((root / "src").rglob("*")):
        if source.suffix in (".h", ".cpp", ".c"):
            found += violations(source, source.relative_to(root / "src"))
    print("\n".join(found) if found else "the layering is in order")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
