"""What every tier of this folder is given."""

import shutil
import subprocess
from pathlib import Path

import pytest

from lab.packages import Builder
from lab.prefix import Prefix

OPTIONS = {
    "library": (Path, "norvca.dll in the kit's layout"),
    "bits": (int, "its architecture: 64 or 32"),
    "tools": (Path, "the directory of callaction.exe"),
    "dry_run_program": (Path, "the dry run"),
    "work": (Path, "a directory to work in; emptied first"),
}


def pytest_addoption(parser):
    for name, (kind, text) in OPTIONS.items():
        parser.addoption(f"--{name.replace('_', '-')}", type=kind, required=True, help=text)


def option(name):
    return pytest.fixture(lambda pytestconfig: pytestconfig.getoption(name), scope="session", name=name)


library, bits, tools, dry_run_program = map(option, list(OPTIONS)[:4])


@pytest.fixture(scope="session")
def describe_program(tools):
    return tools.parents[1] / "describe.exe"


@pytest.fixture(scope="session")
def work(pytestconfig):
    directory = pytestconfig.getoption("work")
    shutil.rmtree(directory, ignore_errors=True)
    directory.mkdir(parents=True)
    return directory


@pytest.fixture(scope="session")
def prefix(work):
    windows = Prefix(work / "prefix")
    yield windows
    windows.close()


@pytest.fixture
def machine(prefix):
    """A Windows on which nothing is installed."""
    prefix.reset()
    return prefix


@pytest.fixture
def display(machine):
    """A screen on which the machine shows its windows."""
    with subprocess.Popen(["Xvfb", "-displayfd", "1", "-nolisten", "tcp"], text=True,
                          stdout=subprocess.PIPE, stderr=subprocess.DEVNULL) as server:
        machine.extra_environment = {"DISPLAY": f":{server.stdout.readline().strip()}"}   # when it is ready
        yield
        server.terminate()


@pytest.fixture(scope="session")
def kit(library):
    """The unpacked kit."""
    return library.parents[1]


@pytest.fixture(scope="session")
def builder(work, library, tools, bits, kit):
    return Builder(work / "packages", library, tools / "tool.exe", bits, kit / "wix")


@pytest.fixture(scope="session")
def updater(builder):
    """The package of the auto-updater."""
    return builder.package(name="Norv Auto Updater", product_code="{4A03706F-666A-4037-7777-5F2748764D10}", bits=32,
                           upgrade_code="{4A03706F-666A-4037-7777-5F2748764D11}",
                           home="Common Files\\Norv\\Norv Update", full_version="2.8.51.9",
                           files=dict.fromkeys(["tolpeck.exe", "tolmark.exe", "vomlit.exe"]))


@pytest.fixture(scope="session")
def plain_package(builder):
    """A package without actions of its own, whose session a test calls the exports in."""
    return builder.package(name="Norv session")


@pytest.fixture
def session(machine, plain_package, library, tools):
    """Runs steps of callaction in an installer session and gives the lines that they print."""
    def run(*steps, package=plain_package):
        return machine.run(tools / "callaction.exe", machine.windows_path(library), machine.windows_path(package),
                           *steps).output.splitlines()
    return run
