"""The actions beside the product update, where the real session, sequence or screen matters."""

import re

import pytest

from lab.packages import BEHIND_COSTS

UPDATER = "{4A03706F-666A-4037-7777-5F2748764D10}"
FOLDER = "C:\\Program Files (x86)\\Common Files\\Norv\\Norv Update"


def installer_lines(finished):
    """The library's lines in the installer's verbose log, without the place of each.

    Wine takes what stands in brackets for the names of properties, also in the text that has been put
    into the template, and shows their empty values: the place is missing, and so are the run modes.
    """
    return re.findall(r"^Norv (?:\[.*?\])? ?((?:TRACE|INFO|WARNING|ERROR): .*)$", finished.output, re.MULTILINE)


def test_the_installers_log_gets_the_records_of_the_reserved_location_actions(machine, builder):
    package = builder.package(immediate=[("checkIfInstallDirReserved", BEHIND_COSTS),
                                         ("MSIIsLocalSystemSupported", BEHIND_COSTS + 1)])
    finished = machine.install(package)
    assert finished.code == 0, finished
    first, modes, done, last = installer_lines(finished)
    assert first == "TRACE: Entering checkIfInstallDirReserved"
    assert modes.startswith("TRACE: CA modes=")
    assert done == "TRACE: Setting MSI property 'RESERVEDDIRECTORY' to '0'"
    assert re.fullmatch(r"TRACE: Exiting checkIfInstallDirReserved \(entered at CustomActions\.cpp:\d+\)", last)
    assert re.search(r"TRACE: CA modes=\[[01]{19}\]", machine.log())
    # The plain frame keeps to the log file.
    assert "Entering MSIIsLocalSystemSupported" in machine.log()


def test_a_reserved_directory_in_its_short_form(machine, session):
    listed = machine.run("cmd", "/c", "dir", "/x", "C:\\").output
    short = re.search(r"(\S*~\S*) +Program Files\r?$", listed, re.MULTILINE)[1]
    assert session(f"set=INSTALLDIR=C:\\{short}\\Norv\\latest\\x", "call=checkIfInstallDirReserved",
                   "get=RESERVEDDIRECTORY") == ["call checkIfInstallDirReserved: 0", "get RESERVEDDIRECTORY: 1"]


def test_a_bad_file_shows_the_user_a_box(machine, session, display):
    (machine.drive_c / "norv.cfg").write_bytes(b"REMOVEOLDERQVRS=1\nno such key=1\n")
    machine.language = "zh_CN.UTF-8"
    machine.extra_environment = {"DISPLAY": display}
    assert session("box", "set=MSICMDLINE=INSTALLCFG=C:\\norv.cfg", "call=MSILoadMsiPropertiesFromConfig") == [
        "box title: Norv 安装未完成",
        "box text: 无法安装 Norv||配置文件 C:\\norv.cfg 在行 2 中格式错误。|请检查文件的数据和格式设置。",
        "call MSILoadMsiPropertiesFromConfig: 61015"]


def test_the_debug_pause_shows_its_box_and_goes_on(machine, session, display):
    machine.extra_environment = {"DISPLAY": display, "PMT_CA_DEBUG_BREAK": "checkIfReservedLocationOccupied"}
    before, title, text, after = session("box", "call=checkIfInstallDirReserved",
                                         "call=checkIfReservedLocationOccupied")
    assert before == "call checkIfInstallDirReserved: 0"
    assert title == "box title: Norv installer: norvca.dll"
    assert re.fullmatch(r"box text: CustomActions\.cpp\(\d+\) at checkIfReservedLocationOccupied\(\): debug break\. "
                        "Reason: environment variable PMT_CA_DEBUG_BREAK is set.", text)
    assert after == "call checkIfReservedLocationOccupied: 0"


@pytest.mark.parametrize("stays", [True, False])
def test_two_actions_of_one_package_around_a_removal(machine, builder, stays):
    """The package moves the updater's tool aside, removes an older runtime or the updater, and moves it back."""
    updater = builder.package(name="Norv Auto Updater", product_code=UPDATER, bits=32, home=FOLDER[3:],
                              files={name: builder.stub for name in ("tolpeck.exe", "tolmark.exe", "vomlit.exe")},
                              properties={"FullVersion": "2.8.51.9"})
    older = builder.package(name="Norv old part")
    for package in (older, updater):
        assert machine.install(package).code == 0
    removed = builder.upgrade_codes[older if stays else updater]
    finished = machine.install(builder.package(
        name="Norv new part", immediate=[("DisableVomlitExe", 1405), ("RestoreVomlitExe", 1415)],
        tables=f'<Upgrade Id="{removed}"><UpgradeVersion Property="OLDPART" Minimum="0.0.0" '
               'IncludeMinimum="yes" OnlyDetect="no"/></Upgrade>',
        standard=[("FindRelatedProducts", 200), ("RemoveExistingProducts", 1410)]))
    assert finished.code == 0, finished
    assert f"DisableVomlitExe=[{UPDATER}*" in machine.log()
    assert machine.path(f"{FOLDER}\\vomlit.exe").exists() == stays
