"""What every tier of this folder is given."""

import shutil
from pathlib import Path

import pytest

from lab.packages import Builder
from lab.prefix import Prefix


def pytest_addoption(parser):
    parser.addoption("--library", type=Path, required=True, help="the built norvca.dll")
    parser.addoption("--bits", type=int, required=True, help="its architecture: 64 or 32")
    parser.addoption("--tools", type=Path, required=True, help="where callaction.exe lies")
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
def prefix(work, tools):
    windows = Prefix(work / "prefix", tools)
    yield windows
    windows.close()


@pytest.fixture
def machine(prefix):
    """A Windows on which nothing is installed."""
    prefix.language = "en_US.UTF-8"
    prefix.reset()
    return prefix


@pytest.fixture(scope="session")
def builder(work, library, tools, bits):
    return Builder(work / "packages", library, tools / "tool.exe", bits)
