"""A Wine prefix of one run, and what a user or a support engineer would look at in it."""

import os
import shutil
import subprocess
import tempfile
from pathlib import Path

WINE = "/usr/lib/wine/wine64"
WINESERVER = "/usr/lib/wine/wineserver64"
MAKE_PREFIX = Path(__file__).resolve().parents[3] / "scripts/lib/wine-prefix"


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

    def __init__(self, directory):
        self.directory = Path(directory)
        self.reset()

    def close(self):
        self._stop()
        shutil.rmtree(self.directory, ignore_errors=True)

    def reset(self):
        """Makes the machine a new one."""
        self.language = "en_US.UTF-8"
        self.extra_environment = {}
        if self.directory.exists():
            self.close()
        subprocess.run([MAKE_PREFIX, self.directory], check=True)

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

    def _stop(self):
        for how in ("-k", "-w"):
            subprocess.run([WINESERVER, how], env=self._environment(), check=False, timeout=60,
                           stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

    def run(self, program, *arguments, timeout=120):
        """Runs a Windows program, given as a path of this machine or the name of one of Wine's."""
        return self._wine([str(program), *arguments], timeout)

    def msiexec(self, *arguments):
        """Runs msiexec silently with a verbose log; its exit code and that log."""
        log = self.drive_c / "msiexec.log"
        log.unlink(missing_ok=True)
        finished = self._wine(["msiexec", *arguments, "/qn", "/l*v", "C:\\msiexec.log"])
        # A Unix exit code is the lowest byte of the installer's, whose failures are 1601 to 1661.
        code = finished.code + 0x600 if finished.code else 0
        text = log.read_bytes() if log.exists() else b""
        encoding = "utf-16" if text.startswith(b"\xff\xfe") else "utf-8"
        return Finished(code, finished.output + text.decode(encoding, "replace"))

    def install(self, package, **properties):
        return self.msiexec("/i", self.windows_path(package),
                            *[f"{name}={value}" for name, value in properties.items()])

    def remove(self, product_code):
        return self.msiexec("/x", product_code)

    def log(self):
        """The library's log, in the temporary directory of the account that ran the action; or nothing."""
        for place in ("users/*/AppData/Local/Temp", "users/*/Temp", "windows/temp"):
            for path in self.drive_c.glob(f"{place}/tolmark.log"):
                return path.read_text(encoding="utf-8")
        return ""
