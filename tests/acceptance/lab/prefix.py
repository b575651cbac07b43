"""A Wine prefix of one run, and what a user or a support engineer would look at in it."""

import contextlib
import getpass
import os
import shutil
import subprocess
import tempfile
from pathlib import Path

WINE = "/usr/lib/wine/wine64"
WINESERVER = "/usr/lib/wine/wineserver64"
MAKE_PREFIX = Path(__file__).resolve().parents[3] / "scripts/lib/wine-prefix"

# Wine's .NET and HTML aren't installed, and its menu builder would write to the desktop folders of
# the user who runs the tests.
NO_HELPERS = "mscoree,mshtml,winemenubuilder.exe="

# What Wine itself says of a program that it can't start.
NOT_STARTED = "Application could not be started"


# In seconds. The slowest program, msiexec, takes two; beside many busy processes some ten.
LIMIT = 60


class Hung(Exception):
    """A program that did not end within LIMIT, and the Windows processes that ran then."""

    def __init__(self, *command):
        listed = subprocess.run(["ps", "-eo", "pid,ppid,etime,time,wchan:20,args"], text=True, check=False,
                                capture_output=True).stdout.splitlines()
        super().__init__("\n".join([f"{command} did not end in {LIMIT} s", listed[0],
                                    *[line for line in listed if "wine" in line or ".exe" in line]]))


class Finished:
    """How a program in the prefix ended, and what it wrote to its output and its errors."""

    def __init__(self, code, output, errors):
        self.code, self.output, self.errors = code, output, errors

    def __repr__(self):
        return f"exit code {self.code}\n{self.output}\n{self.errors}"


class Prefix:
    """A Windows in a directory of its own. `close` ends its processes and deletes it."""

    def __init__(self, directory):
        self.directory = Path(directory)
        self.drive_c = self.directory / "drive_c"
        self.reset()

    def close(self):
        self._server("-k")
        self._server("-w")
        shutil.rmtree(self.directory, ignore_errors=True)

    def reset(self):
        """Makes the machine a new one."""
        self.language = "en_US.UTF-8"
        self.extra_environment = {"DISPLAY": ""}
        if self.directory.exists():
            self.close()
        subprocess.run([MAKE_PREFIX, self.directory], check=True)

    def path(self, windows_path):
        """The file of this machine that is a path on drive C:."""
        return self.drive_c / windows_path[3:].replace("\\", "/")

    def write(self, windows_path, data):
        path = self.path(windows_path)
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(data)

    @staticmethod
    def windows_path(path):
        """How the prefix names a file of the machine that it runs on."""
        return "Z:" + str(Path(path).resolve()).replace("/", "\\")

    def _environment(self):
        return {**os.environ, "WINEPREFIX": str(self.directory), "WINEDEBUG": "-all", "LC_ALL": self.language,
                "WINEDLLOVERRIDES": NO_HELPERS, **self.extra_environment}

    def _server(self, option):
        subprocess.run([WINESERVER, option], env=self._environment(), check=False, timeout=60,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

    def run(self, program, *arguments):
        """Runs a Windows program, given as a path of this machine or the name of one of Wine's."""
        finished = self._try(program, *arguments)
        # Wine's services end soon after the last program. One that starts just then now and then isn't
        # started: its code is 1, and it has said nothing.
        for _ in range(2):
            if finished.code == 1 and (not finished.output or NOT_STARTED in finished.output):
                self._server("-w")
                finished = self._try(program, *arguments)
        return finished

    def _try(self, program, *arguments):
        # Into files: Windows' services and the server keep a pipe open for seconds after the program's
        # end, and its reader would wait for them.
        with tempfile.TemporaryFile() as output, tempfile.TemporaryFile() as errors:
            with subprocess.Popen([WINE, str(program), *arguments], env=self._environment(),
                                  stdin=subprocess.DEVNULL, stdout=output, stderr=errors) as process:
                try:
                    code = process.wait(LIMIT)
                except subprocess.TimeoutExpired:
                    hung = Hung(program, *arguments)
                    process.kill()
                    raise hung from None
            texts = []
            for stream in (output, errors):
                stream.seek(0)
                texts.append(stream.read().decode("utf-8", "replace"))
            return Finished(code, *texts)

    @contextlib.contextmanager
    def running(self, program, *arguments):
        """Keeps a Windows program running that has written a line and waits for the end of its input."""
        with subprocess.Popen([WINE, str(program), *arguments], env=self._environment(), stdin=subprocess.PIPE,
                              stdout=subprocess.PIPE, stderr=subprocess.DEVNULL) as process:
            assert process.stdout.readline(), f"{program} did not start"
            yield
            process.stdin.close()
            process.wait(60)

    def import_registry(self, text):
        """Imports the text of a file of the registry editor, without its first line."""
        self.write("C:\\import.reg", ("Windows Registry Editor Version 5.00\r\n\r\n" + text).encode("utf-16"))
        finished = self.run("regedit", "/S", "C:\\import.reg")
        assert finished.code == 0, finished
        self.path("C:\\import.reg").unlink()

    def msiexec(self, *arguments, ui="/qn"):
        """Runs msiexec, silently by default, with a verbose log; its exit code and that log."""
        log = self.drive_c / "msiexec.log"
        log.unlink(missing_ok=True)
        finished = self.run("msiexec", *arguments, ui, "/l*v", "C:\\msiexec.log")
        # A Unix exit code is the lowest byte of the installer's, whose failures are 1601 to 1661.
        code = finished.code + 0x600 if finished.code else 0
        text = log.read_bytes() if log.exists() else b""
        encoding = "utf-16" if text.startswith(b"\xff\xfe") else "utf-8"
        return Finished(code, finished.output + text.decode(encoding, "replace"), finished.errors)

    def install(self, package, ui="/qn", **properties):
        return self.msiexec("/i", self.windows_path(package),
                            *[f"{name}={value}" for name, value in properties.items()], ui=ui)

    def remove(self, product_code, **properties):
        return self.msiexec("/x", product_code, *[f"{name}={value}" for name, value in properties.items()])

    @property
    def profile(self):
        """The directory of the user's own files."""
        return "C:\\users\\" + getpass.getuser()

    def log(self):
        """The library's log, in the temporary directory of the account that ran the action; or nothing."""
        for path in self.drive_c.glob("users/*/**/tolmark.log"):
            return path.read_text(encoding="utf-8")
        return ""

    def clear_log(self):
        for path in self.drive_c.glob("users/*/**/tolmark.log"):
            path.unlink()

    def registry_value(self, key, name, bits=64):
        """The text of a value in one view of the registry, or nothing."""
        finished = self.run("reg", "query", key, "/v", name, f"/reg:{bits}")
        lines = [line.strip() for line in finished.output.splitlines()]
        return next((line.split("    ", 2)[2] for line in lines if line.startswith(f"{name} ")), "")
