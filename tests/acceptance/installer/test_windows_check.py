"""check.cmd, which a Windows machine runs, under Wine."""

import json
import subprocess

import pytest

from lab.packages import REPOSITORY

SKIPPED = ["x64: msiexec repairs the example, which updates (Wine keeps the example's package open)",
           "x64: the machine is as it was before (Wine's fc compares nothing)"]


@pytest.fixture(scope="session")
def folder(work, kit, tools, library, bits):
    """What the archive contains, of this architecture."""
    if bits == 32:
        pytest.skip("the 64-bit programs show that check.cmd works")
    made = work / "check"
    subprocess.run([REPOSITORY / "scripts/lib/fill-windows-check", made, kit,
                    f"{library.parent.name}={tools.parents[1]}"], check=True)
    return made


@pytest.fixture
def check(machine, folder):
    def run(option="/ci"):
        (folder / "report.txt").unlink(missing_ok=True)
        return machine.run("cmd", "/c", machine.windows_path(folder / "check.cmd"), option)
    return run


def described(machine, program):
    return json.loads(machine.run(program).output)


def test_every_step_passes_and_the_machine_is_as_it_was(machine, check, folder, describe_program):
    before = described(machine, describe_program)
    finished = check()
    report = (folder / "report.txt").read_text(encoding="utf-8", errors="replace")
    steps = report.partition("====")[0].splitlines()
    assert [line for line in steps if line.startswith("failed")] == [], report
    assert [line for line in steps if line.startswith("skipped")] == [f"skipped: {step}" for step in SKIPPED]
    assert "passed: x64: the update has written the current version (exit code 0)" in steps
    assert finished.code == 0, finished
    assert described(machine, describe_program) == before
    assert not machine.path("C:\\Program Files\\Norv").exists()
    assert not machine.path(f"{machine.profile}\\Temp\\norv-check").exists()


def test_a_failing_step_fails_the_check_which_still_removes_everything(machine, check, folder, describe_program):
    before = described(machine, describe_program)
    (folder / "archive.zip").rename(folder / "no.zip")
    try:
        finished = check()
    finally:
        (folder / "no.zip").rename(folder / "archive.zip")
    assert finished.code == 1, finished
    assert "failed: x64: a client of the ZIP functions (exit code 1)" in finished.output
    assert described(machine, describe_program) == before


def test_a_machine_with_the_platform_is_left_alone(machine, check, folder):
    machine.import_registry("[HKEY_LOCAL_MACHINE\\Software\\Wow6432Node\\Halvorex\\QVR]\r\n")
    finished = check()
    assert finished.code == 2, finished
    assert "this machine has HKLM\\Software\\Halvorex" in finished.output
    assert not (folder / "report.txt").exists()


def test_clean_without_an_interrupted_check_removes_nothing(machine, check):
    machine.import_registry("[HKEY_LOCAL_MACHINE\\Software\\Wow6432Node\\Halvorex\\QVR]\r\n")
    finished = check("/clean")
    assert finished.code == 2, finished
    assert machine.run("reg", "query", "HKLM\\Software\\Halvorex\\QVR", "/reg:32").code == 0
