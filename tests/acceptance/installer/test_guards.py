"""The actions that guard the install: directory, privileges, impersonation, the reserved location."""

import re

import pytest

from lab.packages import BEHIND_COSTS

PROGRAM_FILES = "C:\\Program Files"
LATEST = PROGRAM_FILES + "\\Norv\\latest"


def installer_lines(finished):
    """The library's lines in the installer's verbose log, without the place of each.

    Wine takes what stands in brackets for the names of properties, also in the text that has been put
    into the template, and shows their empty values: the place is missing, and so are the run modes.
    """
    return [match[1] for match in re.finditer(r"^Norv (?:\[.*?\])? ?((?:TRACE|INFO|WARNING|ERROR): .*)$",
                                              finished.output, re.MULTILINE)]


@pytest.mark.parametrize("properties, status", [
    (["INSTALLDIR=C:\\new\\place"], 0),
    (["INSTALLDIR=C:\\windows"], 610018),
    (["INSTALLDIR=C:\\a;b"], 610019),
    (["INSTALLDIR=\\\\server\\share\\x"], 610020),
    (["INSTALLDIR=C"], 610021),
    ([], 610021),
    (["INSTALL_TYPE=AU", "INSTALLDIR=C:\\windows"], 0),
])
def test_install_directory(machine, session, properties, status):
    lines = session(*[f"set={p}" for p in properties], "call=MSIValidateInstallDir")
    assert lines == [f"call MSIValidateInstallDir: {status}"]
    assert ("ERROR" in machine.log()) == (status in (610018, 610019, 610021))


def test_the_user_is_not_local_system(machine, session):
    assert session("call=MSIIsLocalSystemSupported") == ["call MSIIsLocalSystemSupported: 0"]
    assert "Original MSI invoker is NOT the LocalSystem User" in machine.log()


@pytest.mark.parametrize("configuration, value, record", [
    ("", "", "INSTALLCFG is either not set by user, or not set properly"),
    ("C:\\norv.cfg", "", "INSTALLCFG is not set to a remote drive location"),
    ("\\\\server\\share\\norv.cfg", "1", ") is an Admin User, set IMPERSONATE=1"),
])
def test_impersonation_for_a_configuration_on_the_network(machine, session, configuration, value, record):
    assert session(f"set=INSTALLCFG={configuration}", "call=MSISetImpersonate", "get=IMPERSONATE") == [
        "call MSISetImpersonate: 0", f"get IMPERSONATE: {value}"]
    assert record in machine.log()


def test_folders_go_now_and_the_rest_at_the_restart(machine, session):
    home = machine.path("C:\\old home")
    (home / "bin").mkdir(parents=True)
    (home / "bin" / "a.exe").write_bytes(b"x")
    (home / "b.txt").write_bytes(b"x")
    outside = machine.path("C:\\mine")
    outside.mkdir()
    (outside / "c.txt").write_bytes(b"x")
    assert session("set=INSTALLDIR=C:\\old home", "call=MSIRemoveFoldersOnReboot") == [
        "call MSIRemoveFoldersOnReboot: 0"]
    assert not home.exists()
    assert (outside / "c.txt").exists()
    assert "Deleted [C:\\old home\\bin\\a.exe] file" in machine.log()


@pytest.mark.parametrize("occupied, silent, status, value", [
    (False, False, 0, "0"), (True, False, 0, "1"), (True, True, 1603, "1"), (False, True, 0, "0"),
])
def test_reserved_location(machine, session, occupied, silent, status, value):
    if occupied:
        machine.path(LATEST + "\\qvk-21").mkdir(parents=True)
    lines = session(f"set=ISSILENT={int(silent)}", "call=checkIfReservedLocationOccupied",
                    "get=DIRECTORYOCCUPIED")
    assert lines == [f"call checkIfReservedLocationOccupied: {status}", f"get DIRECTORYOCCUPIED: {value}"]
    assert ("We have detected that a location already exists." in machine.log()) == (status != 0)


@pytest.mark.parametrize("directory, value", [
    (LATEST, "1"), (LATEST.upper() + "\\x", "1"), (LATEST + "x", "1"), (PROGRAM_FILES + "\\Norv\\qvk-21", "0"),
    ("", "0"),
])
def test_reserved_directory(session, directory, value):
    assert session(f"set=INSTALLDIR={directory}", "call=checkIfInstallDirReserved", "get=RESERVEDDIRECTORY") == [
        "call checkIfInstallDirReserved: 0", f"get RESERVEDDIRECTORY: {value}"]


def test_an_illegal_directory_is_the_frames_failure(machine, session):
    assert session("set=INSTALLDIR=C:\\a|b", "call=checkIfInstallDirReserved") == [
        "call checkIfInstallDirReserved: 1603"]
    assert "isSamePath: Illegal characters in first arg C:\\a|b" in machine.log()


def test_the_installers_log_gets_the_records_of_the_reserved_location_actions(machine, builder):
    package = builder.package(immediate=[("checkIfInstallDirReserved", BEHIND_COSTS),
                                         ("MSIIsLocalSystemSupported", BEHIND_COSTS + 1)])
    finished = machine.install(package)
    assert finished.code == 0, finished
    lines = installer_lines(finished)
    assert lines[0] == "TRACE: Entering checkIfInstallDirReserved"
    assert lines[1].startswith("TRACE: CA modes=")
    assert lines[2] == "TRACE: Setting MSI property 'RESERVEDDIRECTORY' to '0'"
    assert re.fullmatch(r"TRACE: Exiting checkIfInstallDirReserved \(entered at CustomActions\.cpp:\d+\)", lines[3])
    assert len(lines) == 4
    assert re.search(r"TRACE: CA modes=\[[01]{19}\]", machine.log())
    # The plain frame keeps to the log file.
    assert not any("MSIIsLocalSystemSupported" in line for line in lines)
    assert "Entering MSIIsLocalSystemSupported" in machine.log()


def test_the_debug_pause_shows_its_box_and_goes_on(machine, session, display):
    machine.extra_environment = {"DISPLAY": display, "PMT_CA_DEBUG_BREAK": "checkIfReservedLocationOccupied"}
    lines = session("box", "call=checkIfInstallDirReserved", "call=checkIfReservedLocationOccupied")
    assert lines[0] == "call checkIfInstallDirReserved: 0"
    assert lines[1] == "box title: Norv installer: norvca.dll"
    assert lines[2].startswith("box text: CustomActions.cpp(")
    assert lines[2].endswith(") at checkIfReservedLocationOccupied(): debug break. Reason: environment variable "
                             "PMT_CA_DEBUG_BREAK is set.")
    assert lines[3] == "call checkIfReservedLocationOccupied: 0"
