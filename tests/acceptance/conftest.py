"""What every tier of this folder is given."""

import os
import shutil
import subprocess
from pathlib import Path

import pytest

from lab.packages import Builder
from lab.prefix import Prefix


def pytest_addoption(parser):
    parser.addoption("--library", type=Path, required=True, help="norvca.dll in the kit's layout")
    parser.addoption("--bits", type=int, required=True, help="its architecture: 64 or 32")
    parser.addoption("--tools", type=Path, required=True, help="where callaction.exe lies")
    parser.addoption("--dry-run", help="the dry run, for what is to be foretold")
    parser.addoption("--work", type=Path, required=True, help="a directory to work in; emptied first")


@pytest.fixture(scope="session")
def library(pytestconfig):
    return pytestconfig.getoption("library")


@pytest.fixture(scope="session")
def bits(pytestconfig):
    return pytestconfig.getoption("bits")


@pytest.fixture(scope="session")
def tools(pytestconfig):
    return pytestconfig.getoption("tools")


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


@pytest.fixture(scope="session")
def builder(work, library, tools, bits):
    return Builder(work / "packages", library, tools / "tool.exe", bits)


@pytest.fixture(scope="session")
def display():
    """A display of our own for message boxes; its name."""
    reading, writing = os.pipe()
    server = subprocess.Popen(
        ["Xvfb", "-displayfd", str(writing), "-screen", "0", "1024x768x24", "-nolisten", "tcp"],
        pass_fds=[writing], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    os.close(writing)
    with os.fdopen(reading) as pipe:
        number = pipe.readline().strip()   # it comes when the display is ready
    assert number, "no display could be opened"
    yield f":{number}"
    server.terminate()
    server.wait()


@pytest.fixture(scope="session")
def plain_package(builder):
    """A package without actions of its own, whose session a test calls the exports in."""
    return builder.package(name="Norv session")


@pytest.fixture
def session(machine, plain_package, library, tools):
    """Runs steps of callaction in an installer session and gives the lines that they print."""
    def run(*steps, package=plain_package):
        finished = machine.run(tools / "callaction.exe", machine.windows_path(library),
                               machine.windows_path(package), *steps)
        return finished.output.splitlines()
    return run
