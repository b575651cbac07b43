"""The dry run for browsers and for node, beside the program that they have to agree with."""

import json
import re
import subprocess
from pathlib import Path

import pytest

OPTIONS = {
    "page": "dryrun.html",
    "module": "dryrun.mjs",
    "dry_run_program": "the dry run as a program of this machine",
    "predictions": "where the predicted tier leaves its machines and calls",
}


def pytest_addoption(parser):
    for name, text in OPTIONS.items():
        parser.addoption(f"--{name.replace('_', '-')}", type=Path, required=True, help=text)


def option(name):
    return pytest.fixture(lambda pytestconfig: pytestconfig.getoption(name), scope="session", name=name)


page, module, dry_run_program, predictions = map(option, OPTIONS)


def without_lines(text):
    """Compilers give a call that spans several lines another line's number in the log."""
    return re.sub(r"(\w+\.(?:cpp|h))(:\d+|\(\d+\))", r"\1:#", text)


@pytest.fixture
def native(dry_run_program, tmp_path):
    """Calls the program in the test's directory."""
    def call(*arguments, stdin=b""):
        return subprocess.run([dry_run_program, *arguments], cwd=tmp_path, input=stdin, capture_output=True,
                              check=False, timeout=120)
    return call


@pytest.fixture
def predicted(native):
    """The outcome of a call as JSON, without the lines in the log."""
    def call(*arguments):
        finished = native("--json", *arguments)
        assert finished.returncode in (0, 1, 3), finished.stderr
        return outcome_of(finished.stdout)
    return call


def outcome_of(text):
    outcome = json.loads(text)
    outcome["log"] = without_lines(outcome["log"])
    return outcome
