"""What the two frames show beside their action: the installer's log and the debug pause."""

import re

from lab.packages import BEHIND_COSTS


def installer_lines(finished):
    """The library's lines in the installer's verbose log, without the place of each.

    Wine takes what stands in brackets for the names of properties, also in the text that has been put
    into the template, and shows their empty values: the place is missing, and so are the run modes.
    """
    return [match[1] for match in re.finditer(r"^Norv (?:\[.*?\])? ?((?:TRACE|INFO|WARNING|ERROR): .*)$",
                                              finished.output, re.MULTILINE)]


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
