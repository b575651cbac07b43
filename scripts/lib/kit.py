"""Packs the installed files into the kit's archive.

usage: kit.py <directory of the files> <directory of the archive> <architecture>...

The version is that of BUILD-INFO; libraries of another version, left by an older build, are refused. The
same files give the same bytes: sorted, with one time and one mode.
"""

import hashlib
import sys
import zipfile
from pathlib import Path


def main():
    contents, target = Path(sys.argv[1]), Path(sys.argv[2])
    information = (contents / "BUILD-INFO").read_text(encoding="utf-8")
    version = information.splitlines()[0].removeprefix("version: ")
    for architecture in sys.argv[3:]:
        library = contents / architecture / "norvca.dll"
        if f"\0{version}\0".encode("utf-16-le") not in library.read_bytes():
            sys.exit(f"{library}: not of version {version}")
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
