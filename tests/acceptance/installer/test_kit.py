"""The example of the kit, built with nothing but the kit, is a package that installs and goes again."""

import subprocess

import pytest

ACTIONS = {
    "SetLatestQvr", "SetLatestQvr.Data", "MSILoadMsiPropertiesFromConfig", "MSIValidateInstallDir",
    "checkIfInstallDirReserved",
}


@pytest.fixture(scope="module")
def example(work, library, bits):
    kit = library.parents[1]
    architecture = {64: "x64", 32: "x86"}[bits]
    package = work / "example.msi"
    subprocess.run(["wixl", "-a", architecture, "-D", f"Bits={bits}", "-D",
                    f"NorvcaLibrary={architecture}/norvca.dll", "-I", "wix", "-o", package, "wix/example.wxs"],
                   check=True, cwd=kit)
    return package


def test_the_usual_actions_stand_in_the_sequence(example):
    table = subprocess.run(["msiinfo", "export", example, "InstallExecuteSequence"], check=True,
                           capture_output=True, text=True).stdout
    places = {line.split("\t")[0]: int(line.split("\t")[2]) for line in table.splitlines()[3:]}
    assert ACTIONS <= set(places)
    assert places["MSILoadMsiPropertiesFromConfig"] < places["CostInitialize"]
    assert places["CostFinalize"] < places["MSIValidateInstallDir"] < places["InstallValidate"]
    assert places["PublishProduct"] < places["SetLatestQvr"] < places["InstallFinalize"]


def test_it_installs_and_goes(machine, example, bits):
    programs = {64: "Program Files", 32: "Program Files (x86)"}[bits]

    def files():
        return [path for path in machine.path(f"C:\\{programs}\\Norv").rglob("*") if path.is_file()]

    # Its own update can't read its package under Wine.
    assert machine.install(example, NORVCA_NO_UPDATE="1").code == 0
    assert "Exiting checkIfInstallDirReserved" in machine.log()
    assert files()
    assert machine.msiexec("/x", machine.windows_path(example)).code == 0
    assert not files()
