"""dryrun.mjs under node does what the program does: the same texts, files and exit statuses."""

import json
import subprocess

import pytest

from conftest import without_lines
from machines import ACTIONS, MACHINES, NEW_PRODUCT, QVR_CODE, TWO_PRODUCTS, UPDATE, update_for


@pytest.fixture
def node(module, tmp_path):
    def call(*arguments, stdin=b""):
        return subprocess.run(["node", module, *arguments], cwd=tmp_path, input=stdin, capture_output=True,
                              check=False, timeout=120)
    return call


@pytest.fixture
def agree(node, native):
    """Calls both and fails unless they agree; returns what the module did."""
    def call(*arguments, stdin=b""):
        ours, theirs = node(*arguments, stdin=stdin), native(*arguments, stdin=stdin)
        assert ours.returncode == theirs.returncode
        assert ours.stderr == theirs.stderr
        assert without_lines(ours.stdout.decode()) == without_lines(theirs.stdout.decode())
        return ours
    return call


@pytest.fixture
def machine(tmp_path):
    (tmp_path / "machine.json").write_text(json.dumps(TWO_PRODUCTS))
    return "machine.json"


@pytest.mark.parametrize("action", ACTIONS)
def test_every_action(agree, machine, action):
    finished = agree(machine, action, *ACTIONS[action], "--log")
    assert finished.returncode in (0, 1)


@pytest.mark.parametrize("name", MACHINES)
def test_every_machine(agree, tmp_path, name):
    description, code = MACHINES[name]
    (tmp_path / "machine.json").write_text(json.dumps(description))
    assert agree("machine.json", *update_for(code)).returncode == (3 if "unread" in description else 0)


def test_products(agree, machine):
    assert QVR_CODE in agree(machine).stdout.decode()


def test_a_second_description_and_a_removed_product(agree, machine, tmp_path):
    (tmp_path / "new.json").write_text(json.dumps(NEW_PRODUCT))
    finished = agree(machine, "--remove", QVR_CODE, "--add", "new.json")
    assert QVR_CODE not in finished.stdout.decode()


def test_a_planned_failure(agree, machine):
    agree(machine, *UPDATE, "--fail", "RegSetValueExW:2", "--json")


def test_standard_input(agree):
    assert agree("-", *UPDATE, stdin=json.dumps(TWO_PRODUCTS).encode()).returncode == 0


@pytest.mark.parametrize("option", ["--after", "--html"])
def test_written_files(node, native, machine, tmp_path, option):
    written = tmp_path / "written"
    assert native(machine, *UPDATE, option, "written").returncode == 0
    expected = without_lines(written.read_text())
    written.unlink()
    assert node(machine, *UPDATE, option, "written").returncode == 0
    assert without_lines(written.read_text()) == expected


@pytest.mark.parametrize("arguments", [
    [], ["--help"], ["none.json"], ["."], ["machine.json", "SetLatest"], ["machine.json", "SetLatestQvr", "X=1"],
    ["machine.json", "--no-such-option"], ["machine.json", *UPDATE, "--fail", "F:0"],
    ["machine.json", *UPDATE, "--after", "none/after.json"], ["machine.json", "--remove", "{}"],
], ids=" ".join)
def test_calls(agree, machine, arguments):
    agree(*arguments)


@pytest.mark.parametrize("text", [
    b"", b"{", b"[]", b'{"products": 1}', b'{"sise": {}}', b'{"windows": {}, "windows": {}}', b"[" * 100000,
    b'{"files": {"C:\\\\x": {"text": "\xe9"}}}', '{"products": []}'.encode("utf-16"), b'\xef\xbb\xbf{}', b"{}\0",
    b'{"products": [{"type": "QVR", "version": "x"}]}', b'{"windows": {"bits": 16}}',
], ids=repr)
def test_bad_and_odd_descriptions(agree, tmp_path, text):
    (tmp_path / "odd.json").write_bytes(text)
    agree("odd.json")
