#!/usr/bin/env python3
"""Makes archives with Info-ZIP, Python's zipfile and 7-Zip, none of them by code of this project.

    make_archives.py <folder>

Beside each <name>.zip stands <name>.expected: what the tool that made it reads or extracts from it.
Its numbers are little-endian: length of the archive's comment (4 bytes), the comment, length of what
stands in front of the archive (8), number of entries (4); then for each entry the length of its name
(4), the name in UTF-8, the length of its data (8), the data.

A tool that isn't installed leaves a line in skipped.txt.
"""

import io
import os
import random
import shutil
import struct
import subprocess
import sys
import tempfile
import zipfile

STUB = b"MZ" + b"self-extractor, not really. " * 40


def write_expected(path, entries, comment=b"", front=0):
    with open(path, "wb") as out:
        out.write(struct.pack("<L", len(comment)) + comment + struct.pack("<QL", front, len(entries)))
        for name, data in entries.items():
            raw = name.encode("utf-8")
            out.write(struct.pack("<L", len(raw)) + raw + struct.pack("<Q", len(data)) + data)


def make_tree(root):
    """Files of every kind that an archive treats in its own way."""
    noise = random.Random(5)
    contents = {
        "META-INF/MANIFEST.MF": b"Manifest-Version: 1.0\r\nImplementation-Version: 1.8.0_45-b13\r\n",
        "empty.txt": b"",
        "text.txt": b"all work and no play\n" * 3000,
        "noise.bin": noise.randbytes(50000),
        "exactly4096.bin": noise.randbytes(4096),
        "deep/er/and/deeper/file": b"x",
        "Gr\u00fc\u00dfe/\u4f60\u597d.txt": "\u00e4\u00f6\u00fc".encode("utf-8"),
    }
    for name, data in contents.items():
        path = os.path.join(root, name)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "wb") as out:
            out.write(data)
    os.makedirs(os.path.join(root, "empty folder"))


def read_tree(root):
    entries = {}
    for folder, folders, files in os.walk(root):
        for name in folders:
            entries[os.path.relpath(os.path.join(folder, name), root) + "/"] = b""
        for name in files:
            path = os.path.join(folder, name)
            with open(path, "rb") as data:
                entries[os.path.relpath(path, root)] = data.read()
    return entries


def run(*command, cwd=None, stdin=b"", stdout=subprocess.DEVNULL):
    return subprocess.run(command, cwd=cwd, input=stdin, stdout=stdout, check=True).stdout


class Maker:
    def __init__(self, folder):
        self.folder = folder
        self.tree = os.path.join(folder, "tree")
        make_tree(self.tree)

    def path(self, name):
        return os.path.join(self.folder, name)

    def expect(self, name, extract, comment=b"", front=0):
        """Extracts with the tool that made the archive and writes down what came out."""
        with tempfile.TemporaryDirectory() as out:
            extract(self.path(name + ".zip"), out)
            write_expected(self.path(name + ".expected"), read_tree(out), comment, front)

    def info_zip(self):
        def extract(archive, out):
            # Status 1 is the warning about bytes in front of the archive.
            status = subprocess.run(["unzip", "-q", archive, "-d", out], stderr=subprocess.DEVNULL)
            assert status.returncode in (0, 1), status

        for name, options in {"deflated": ["-9"], "stored": ["-0"], "zip64": ["-fz"]}.items():
            run("zip", "-q", "-r", *options, self.path(f"infozip_{name}.zip"), ".", cwd=self.tree)
            self.expect(f"infozip_{name}", extract)
        run("zip", "-q", "-r", "-z", self.path("infozip_comment.zip"), ".", cwd=self.tree,
            stdin=b"a comment\n.\n")
        self.expect("infozip_comment", extract, b"a comment")
        streamed = run("zip", "-q", "-r", "-", ".", cwd=self.tree, stdout=subprocess.PIPE)
        with open(self.path("infozip_descriptors.zip"), "wb") as out:
            out.write(streamed)
        self.expect("infozip_descriptors", extract)
        for name, front in {"stub": len(STUB), "adjusted_stub": 0}.items():
            with open(self.path(f"infozip_{name}.zip"), "wb") as out:
                out.write(STUB + streamed)
            if front == 0:
                run("zip", "-q", "-A", self.path(f"infozip_{name}.zip"))
            self.expect(f"infozip_{name}", extract, front=front)

    def seven_zip(self):
        def extract(archive, out):
            run("7z", "x", "-y", "-o" + out, archive)

        for name, level in {"deflated": "-mx=9", "stored": "-mx=0"}.items():
            run("7z", "a", "-tzip", "-mm=Deflate" if level != "-mx=0" else "-mm=Copy", level,
                "-mcu=on", self.path(f"7zip_{name}.zip"), "./*", cwd=self.tree)
            self.expect(f"7zip_{name}", extract)

    def python(self):
        entries = read_tree(self.tree)

        def write(name, contents, comment=b"", method=zipfile.ZIP_DEFLATED, target=None, decorate=None):
            with zipfile.ZipFile(target or self.path(name + ".zip"), "w", method) as archive:
                for entry, data in contents.items():
                    info = zipfile.ZipInfo(entry, (2024, 2, 29, 12, 30, 58))
                    if decorate:
                        decorate(info)
                    archive.writestr(info, data, method)
                archive.comment = comment
            if target is None:
                with zipfile.ZipFile(self.path(name + ".zip")) as archive:
                    read = {entry: archive.read(entry) for entry in archive.namelist()}
                write_expected(self.path(name + ".expected"), read, comment)

        def decorate(info):
            info.comment = b"comment of " + info.filename.encode("utf-8")
            info.extra = struct.pack("<HH5s", 0x9999, 5, b"extra")

        write("python_none", {}, b"")
        write("python_stored", entries, method=zipfile.ZIP_STORED)
        for length in (1, 106, 65535):
            write(f"python_comment_{length}", entries, b"c" * length)
        write("python_extras", entries, decorate=decorate)
        for count in (65535, 70000):
            write(f"python_{count}_entries", {f"entries/{i:x}": b"%d" % i for i in range(count)},
                  method=zipfile.ZIP_STORED)

        class Pipe(io.RawIOBase):
            def __init__(self):
                self.bytes = bytearray()

            def writable(self):
                return True

            def write(self, data):
                self.bytes += data
                return len(data)

        pipe = Pipe()
        write("", entries, target=pipe)
        with open(self.path("python_descriptors.zip"), "wb") as out:
            out.write(pipe.bytes)
        write_expected(self.path("python_descriptors.expected"), entries)

        # The writer's own ZIP64 code, at sizes that a test can hold: from 1000 bytes on, sizes,
        # offsets and the directory all go to ZIP64 records. Only the end header has to be told.
        limit = zipfile.ZIP64_LIMIT
        zipfile.ZIP64_LIMIT = 1000
        for name, method in (("sizes", zipfile.ZIP_DEFLATED), ("stored", zipfile.ZIP_STORED)):
            write(f"python_zip64_{name}", entries, method=method)
            with open(self.path(f"python_zip64_{name}.zip"), "r+b") as archive:
                archive.seek(-14, os.SEEK_END)
                archive.write(b"\xff" * 12)
        zipfile.ZIP64_LIMIT = limit


def main():
    folder = os.path.abspath(sys.argv[1])
    os.environ["LC_ALL"] = "C.UTF-8"  # the tools write and extract names in UTF-8
    shutil.rmtree(folder, ignore_errors=True)
    os.makedirs(folder)
    maker = Maker(folder)
    maker.python()
    skipped = []
    for tools, make in ((("zip", "unzip"), maker.info_zip), (("7z",), maker.seven_zip)):
        missing = [tool for tool in tools if shutil.which(tool) is None]
        if missing:
            skipped.append(f"{' and '.join(missing)} not installed: no archives of it")
        else:
            make()
    shutil.rmtree(maker.tree)
    with open(os.path.join(folder, "skipped.txt"), "w") as out:
        out.write("\n".join(skipped))


main()
