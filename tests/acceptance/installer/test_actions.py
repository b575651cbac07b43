"""What only the real session, sequence, screen or process shows of the actions beside the product update."""

import re
import subprocess
import zipfile

import pytest

from lab.packages import AFTER_COSTS


def test_the_installers_log_gets_the_records_of_the_reserved_location_actions(machine, builder):
    package = builder.package(immediate=[("checkIfInstallDirReserved", AFTER_COSTS),
                                         ("MSIIsLocalSystemSupported", AFTER_COSTS + 1)])
    finished = machine.install(package)
    assert finished.code == 0, finished
    # Wine takes text in brackets for the names of properties, also in the text that has been put
    # into the template, and shows their empty values: the place is missing, and so are the run modes.
    first, modes, done, last = re.findall(r"^Norv (?:\[.*?\])? ?((?:TRACE|INFO|WARNING|ERROR): .*)$",
                                          finished.output, re.MULTILINE)
    assert first == "TRACE: Entering checkIfInstallDirReserved"
    assert modes.startswith("TRACE: CA modes=")
    assert done == "TRACE: Setting MSI property 'RESERVEDDIRECTORY' to '0'"
    assert re.fullmatch(r"TRACE: Exiting checkIfInstallDirReserved \(entered at CustomActions\.cpp:\d+\)", last)
    assert re.search(r"TRACE: CA modes=\[[01]{19}\]", machine.log())
    # The plain frame keeps to the log file.
    assert "Entering MSIIsLocalSystemSupported" in machine.log()


@pytest.mark.usefixtures("display")
def test_a_bad_file_shows_the_user_a_box(machine, session):
    (machine.drive_c / "norv.cfg").write_bytes(b"REMOVEOLDERQVRS=1\nno such key=1\n")
    machine.language = "zh_CN.UTF-8"
    lines = session("box", "set=MSICMDLINE=INSTALLCFG=C:\\norv.cfg", "call=MSILoadMsiPropertiesFromConfig")
    assert lines == [
        "box title: Norv 安装未完成",
        "box text: 无法安装 Norv||配置文件 C:\\norv.cfg 在行 2 中格式错误。|请检查文件的数据和格式设置。",
        "call MSILoadMsiPropertiesFromConfig: 61015"]


@pytest.mark.parametrize("stays", [True, False])
def test_two_actions_of_one_package_around_a_removal(machine, builder, updater, stays):
    """The package moves the updater's tool aside, removes an older part or the updater, and moves it back."""
    codes = ["{0B7F2E57-4E1E-4C55-9E2B-65C0B7B1D0AC}", "{4A03706F-666A-4037-7777-5F2748764D11}"]
    for package in (builder.package(name="Norv old part", upgrade_code=codes[0]), updater):
        assert machine.install(package).code == 0
    finished = machine.install(builder.package(
        name="Norv new part", immediate=[("DisableVomlitExe", 1405), ("RestoreVomlitExe", 1415)],
        more=f'<Upgrade Id="{codes[0 if stays else 1]}"><UpgradeVersion Property="OLDPART" Minimum="0.0.0" '
             'IncludeMinimum="yes" OnlyDetect="no"/></Upgrade><InstallExecuteSequence>'
             '<FindRelatedProducts Sequence="200"/><RemoveExistingProducts Sequence="1410"/></InstallExecuteSequence>'))
    assert finished.code == 0, finished
    assert "DisableVomlitExe=[{4A03706F-666A-4037-7777-5F2748764D10}*" in machine.log()
    assert machine.path("C:\\Program Files (x86)\\Common Files\\Norv\\Norv Update\\vomlit.exe").exists() == stays


def test_a_process_short_of_memory_lives(session):
    """Each allocation fails in turn: the action ends as it does else, or by the failure of its frame."""
    lines = session("set=INSTALLDIR=C:\\new", "memory=MSIValidateInstallDir", "memory=checkIfInstallDirReserved",
                    # Without a session it fails anyhow: then its own throw has no memory either.
                    "close", "memory=MSIValidateInstallDir")
    print("\n".join(lines))
    assert [re.findall(r"times (\d+)", line) for line in lines] == [["0", "1627"], ["0", "1603"], ["1627"]]


def test_the_compilers_own_library_came_first(machine, session, bits):
    """Start-up code of the compiler looks for it; an action that has no session throws."""
    compiler, name = {64: ("x86_64", "libgcc_s_seh-1.dll"), 32: ("i686", "libgcc_s_dw2-1.dll")}[bits]
    path = subprocess.run([f"{compiler}-w64-mingw32-g++", f"-print-file-name={name}"], check=True,
                          capture_output=True, text=True).stdout.strip()
    assert session(f"load={machine.windows_path(path)}", "close", "call=MSIValidateInstallDir",
                   "call=checkIfInstallDirReserved") == [
        "load: 1", "call MSIValidateInstallDir: 1627", "call checkIfInstallDirReserved: 1603"]


def test_a_client_in_c_reads_an_archive(machine, library, tools, tmp_path):
    with zipfile.ZipFile(tmp_path / "a.zip", "w", zipfile.ZIP_DEFLATED) as archive:
        archive.writestr("one", "first")
        archive.writestr("d/two", "second" * 3)
    finished = machine.run(tools / "zipclient.exe", machine.windows_path(library), machine.windows_path(tmp_path / "a.zip"))
    assert finished.output.splitlines() == ["one: first", "d/two: secondsecondsecond"]
