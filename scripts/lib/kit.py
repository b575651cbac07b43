"""Packs the installed files of both architectures into the kit's archive.

usage: kit.py <directory of the files> <directory of the archive> <version>

The same files give the same bytes: sorted, with one time and one mode. Libraries of another version,
left by an older build, are refused.
"""

import hashlib
import sys
import zipfile
from pathlib import Path


def version_of(library):
    """The file version of a library's version resource."""
    data = library.read_bytes()
    at = data.index(bytes.fromhex("bd04effe")) + 8
    words = [int.from_bytes(data[at + i:at + i + 2], "little") for i in (2, 0, 6, 4)]
    return ".".join(map(str, words))


def main():
    contents, target, version = Path(sys.argv[1]), Path(sys.argv[2]), sys.argv[3]
    for architecture in ("x64", "x86"):
        found = version_of(contents / architecture / "norvca.dll")
        if found != version:
            sys.exit(f"{architecture}/norvca.dll is of version {found}, not {version}")
    name = f"norvca-{version}"
    files = sorted((path for path in contents.rglob("*") if path.is_file()),
                   key=lambda path: path.relative_to(contents).as_posix())
    sums = "".join(f"{hashlib.sha256(path.read_bytes()).hexdigest()}  {path.relative_to(contents).as_posix()}\n"
                   for path in files)
    archive = target / f"{name}.zip"
    with zipfile.ZipFile(archive, "w", zipfile.ZIP_DEFLATED, compresslevel=9) as kit:
        def add(path, content):
            entry = zipfile.ZipInfo(f"{name}/{path}")
            entry.external_attr = 0o100644 << 16
            entry.compress_type = zipfile.ZIP_DEFLATED
            kit.writestr(entry, content)
        for path in files:
            add(path.relative_to(contents).as_posix(), path.read_bytes())
        add("SHA256SUMS", sums)
    print(f"made {archive}: {archive.stat().st_size} bytes, {len(files) + 1} files")


if __name__ == "__main__":
    main()
