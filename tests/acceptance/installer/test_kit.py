"""The example of the kit, built with nothing but the kit, is a package that installs and goes again."""

import subprocess

ACTIONS = ["MSILoadMsiPropertiesFromConfig", "CostInitialize", "CostFinalize", "SetLatestQvr.Data", "MSIValidateInstallDir",
           "checkIfInstallDirReserved", "InstallValidate", "PublishProduct", "SetLatestQvr", "InstallFinalize"]


def test_the_example(machine, work, library, bits):
    architecture, programs = {64: ("x64", "Program Files"), 32: ("x86", "Program Files (x86)")}[bits]
    example = work / "example.msi"
    subprocess.run(["wixl", "-a", architecture, "-D", f"Bits={bits}", "-D",
                    f"NorvcaLibrary={architecture}/norvca.dll", "-I", "wix", "-o", example, "wix/example.wxs"],
                   check=True, cwd=library.parents[1])
    table = subprocess.run(["msiinfo", "export", example, "InstallExecuteSequence"], check=True,
                           capture_output=True, text=True).stdout
    places = {line.split("\t")[0]: int(line.split("\t")[2]) for line in table.splitlines()[3:]}
    assert sorted(ACTIONS, key=places.get) == ACTIONS

    def files():
        return [path for path in machine.path(f"C:\\{programs}\\Norv").rglob("*") if path.is_file()]

    # Its own update can't read its package under Wine.
    assert machine.install(example, NORVCA_NO_UPDATE="1").code == 0
    assert "Exiting checkIfInstallDirReserved" in machine.log()
    assert files()
    assert machine.remove(machine.windows_path(example)).code == 0
    assert not files()
