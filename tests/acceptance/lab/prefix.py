"""A Wine prefix of one run, and what a user or a support engineer would look at in it."""

import os
import re
import shutil
import subprocess
import tempfile
from pathlib import Path

from lab.registry import Hives

WINE = "/usr/lib/wine/wine64"
WINESERVER = "/usr/lib/wine/wineserver64"
HIVES = ("system.reg", "user.reg", "userdef.reg")


class Finished:
    """How a program in the prefix ended; `errors` is what it wrote to its standard error stream."""

    def __init__(self, code, output, errors=""):
        self.code = code
        self.output = output
        self.errors = errors

    def __repr__(self):
        return f"exit code {self.code}\n{self.output}\n{self.errors}"


class Prefix:
    """A Windows in a directory of its own. `close` ends its processes and deletes it."""

    def __init__(self, directory, tools, language="en_US.UTF-8"):
        self.directory = Path(directory)
        self.tools = Path(tools)
        self.language = language
        self.extra_environment = {}
        self.directory.mkdir(parents=True)
        self._wine(["wineboot", "-i"])
        self._stop()
        # Registry and files of a machine on which nothing was installed, for `reset`.
        self._saved = self.directory.with_name(self.directory.name + "-saved")
        self._saved.mkdir()
        for hive in HIVES:
            shutil.copy2(self.directory / hive, self._saved / hive)
        self._known = set(self._walk())

    def close(self):
        self._stop("-k9")
        shutil.rmtree(self.directory, ignore_errors=True)
        shutil.rmtree(self._saved, ignore_errors=True)

    def reset(self):
        """Makes the machine what it was when it was new."""
        self._stop("-k9")
        for hive in HIVES:
            shutil.copy2(self._saved / hive, self.directory / hive)
        added = [path for path in self._walk() if path not in self._known]
        for path in sorted(added, key=lambda p: len(p.parts), reverse=True):
            if path.is_dir() and not path.is_symlink():
                shutil.rmtree(path, ignore_errors=True)
            else:
                path.unlink(missing_ok=True)
        self.extra_environment = {}

    def _walk(self):
        # Everything that installs put files into; the rest of Windows is large and never touched.
        for part in ("Program Files", "Program Files (x86)", "ProgramData", "users", "windows/Installer",
                     "windows/temp"):
            root = self.drive_c / part
            yield root
            for directory, folders, files in os.walk(root):
                for name in folders + files:
                    yield Path(directory) / name
        for path in self.drive_c.iterdir():
            yield path

    @property
    def drive_c(self):
        return self.directory / "drive_c"

    def path(self, windows_path):
        """The file behind a path on drive C:, found without regard to case."""
        current = self.drive_c
        for part in windows_path[3:].split("\\"):
            match = current / part
            if not match.exists() and current.is_dir():
                lower = part.lower()
                match = next((p for p in current.iterdir() if p.name.lower() == lower), match)
            current = match
        return current

    @staticmethod
    def windows_path(path):
        """How the prefix names a file of the machine that it runs on."""
        return "Z:" + str(Path(path).resolve()).replace("/", "\\")

    def _environment(self):
        environment = dict(os.environ)
        environment.update(
            WINEPREFIX=str(self.directory), WINEDEBUG="-all", LC_ALL=self.language,
            WINEDLLOVERRIDES="mscoree,mshtml=")
        environment.pop("DISPLAY", None)
        environment.update(self.extra_environment)
        return environment

    def _wine(self, arguments, timeout=120):
        # Into files: Windows' services and the server keep a pipe open for seconds after the program's
        # end, and its reader would wait for them.
        with tempfile.TemporaryFile() as output, tempfile.TemporaryFile() as errors:
            finished = subprocess.run(
                [WINE, *arguments], env=self._environment(), stdin=subprocess.DEVNULL,
                stdout=output, stderr=errors, timeout=timeout, check=False)
            texts = []
            for stream in (output, errors):
                stream.seek(0)
                texts.append(stream.read().decode("utf-8", "replace"))
            return Finished(finished.returncode, *texts)

    def _stop(self, how="-k"):
        """Ends every process of the prefix; the registry is written out by that, but not by "-k9"."""
        subprocess.run([WINESERVER, how], env=self._environment(), check=False,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        subprocess.run([WINESERVER, "-w"], env=self._environment(), check=False, timeout=60)

    def run(self, program, *arguments, timeout=120):
        """Runs a Windows program, given as a path of this machine or the name of one of Wine's."""
        return self._wine([str(program), *arguments], timeout)

    def msiexec(self, *arguments):
        """Runs msiexec silently with a verbose log; its exit code and that log."""
        log = self.drive_c / "msiexec.log"
        log.unlink(missing_ok=True)
        # A Unix exit code has one byte; the tool prints the whole of it.
        finished = self._wine([str(self.tools / "exitcode.exe"), "msiexec", *arguments,
                               "/qn", "/l*v", "C:\\msiexec.log"])
        code = re.search(r"exit code (\d+)", finished.output)
        text = log.read_bytes() if log.exists() else b""
        encoding = "utf-16" if text.startswith(b"\xff\xfe") else "utf-8"
        return Finished(int(code[1]) if code else -1,
                        finished.output + text.decode(encoding, "replace"))

    def install(self, package, **properties):
        return self.msiexec("/i", self.windows_path(package),
                            *[f"{name}={value}" for name, value in properties.items()])

    def remove(self, product_code):
        return self.msiexec("/x", product_code)

    def registry(self):
        """The registry as it stands now. Ends the prefix's processes, so that it is all written."""
        self._stop()
        return Hives(self.directory / "system.reg", self.directory / "user.reg")

    def log_path(self):
        """The library's log: in the temporary directory of the account that ran the action."""
        for path in self.drive_c.glob("users/*/AppData/Local/Temp/tolmark.log"):
            return path
        for path in self.drive_c.glob("users/*/Temp/tolmark.log"):
            return path
        path = self.drive_c / "windows" / "temp" / "tolmark.log"
        return path if path.exists() else None

    def log(self):
        """The text of the library's log, empty without one."""
        path = self.log_path()
        return path.read_text(encoding="utf-8") if path else ""
