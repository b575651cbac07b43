"""What a user sees after the update: the Start menu and the accessibility entry."""

import pytest

from lab.packages import UPDATE
from lab.products import legacy_qvr, qvk21

PROGRAMS = "C:\\ProgramData\\Microsoft\\Windows\\Start Menu\\Programs"
ASSIST_LINK = ("HKLM\\Software\\Microsoft\\Windows NT\\CurrentVersion\\Accessibility\\ATs\\"
               "Dovrin_NorvAssistLink")


def shortcuts(machine, tools, folder):
    """The shell links of a Start menu folder: name -> [target, arguments, description, icon]."""
    links = sorted(machine.path(f"{PROGRAMS}\\{folder}").glob("*.lnk"))
    printed = machine.run(tools / "readlink.exe", *[machine.windows_path(link) for link in links])
    assert printed.code == 0, printed
    rows = [line.split("\t") for line in printed.output.splitlines()]
    return {row[0].rpartition("\\")[2]: row[1:] for row in rows}


@pytest.mark.parametrize("language, names", [
    ("en_US.UTF-8", {
        "About Norv.lnk": ("-tab about", "View Norv version information."),
        "Check For Updates.lnk": ("-tab update", "See if new Norv updates are available."),
        "Configure Norv.lnk": ("", "View or change Norv settings.")}),
    ("zh_CN.UTF-8", {
        "关于 Norv.lnk": ("-tab about", "查看 Norv 版本信息。"),
        "检查更新.lnk": ("-tab update", "查看是否有新 Norv 更新可用。"),
        "配置 Norv.lnk": ("", "查看或更改 Norv 设置。")}),
])
def test_the_runtimes_folder_in_the_users_language(machine, builder, tools, bits, language, names):
    machine.language = language
    qvr = legacy_qvr(bits=bits, files={"bin\\norvcpl.exe": builder.stub})
    assert machine.install(builder.product(qvr, UPDATE)).code == 0
    found = shortcuts(machine, tools, "Norv")
    home = qvr.home_directory
    assert found == {name: [f"{home}\\bin\\norvcpl.exe", arguments, description, f"{home}\\bin\\norv.exe,0"]
                     for name, (arguments, description) in names.items()}
    # Wine's internet shortcut is no shell link: the record says so and the rest of the folder stands.
    assert machine.log().count("IUniformResourceLocator.QueryInterface(IID_IShellLink) failed") == 2


def test_the_folder_goes_when_the_configuration_says_so(machine, builder, bits):
    qvr = legacy_qvr(bits=bits)
    assert machine.install(builder.product(qvr, UPDATE)).code == 0
    assert machine.path(f"{PROGRAMS}\\Norv").is_dir()
    update = builder.updater(f"ProductCode={qvr.product_code} NOSTARTMENU=1")
    assert machine.install(update).code == 0
    assert not machine.path(f"{PROGRAMS}\\Norv").exists()
    assert "doesn't support Start Menu shortcuts. They are disabled with install configuration." in machine.log()


def test_the_accessibility_entry_and_its_library(machine, builder, bits):
    library = "WindowsAssistLink-64.dll" if bits == 64 else "WindowsAssistLink-32.dll"
    files = {"bin\\alinkswitch.exe": builder.stub, f"bin\\{library}": builder.stub}
    qvr = legacy_qvr(bits=bits, files=files)
    assert machine.install(builder.product(qvr, UPDATE)).code == 0
    values = machine.registry().key(ASSIST_LINK).values
    assert values["startexe"] == f"{qvr.home_directory}\\bin\\alinkswitch.exe"
    assert values["applicationname"] == "Enable Norv Assist Link"
    assert values["startparams"] == "-enable" and values["simpleprofile"] == "screenreader"
    system = "system32" if bits == 64 else "syswow64"
    assert machine.path(f"C:\\windows\\{system}\\{library}").read_bytes() == builder.stub.read_bytes()


def test_without_junctions_the_path_is_untouched_and_the_update_goes_on(machine, builder, bits):
    """Wine has no reparse points."""
    if bits == 32:
        pytest.skip("shims are of the 64-bit kit")
    before = machine.registry().value(
        "HKLM\\System\\CurrentControlSet\\Control\\Session Manager\\Environment", "Path")
    staging = machine.path("C:\\Program Files\\Common Files") / "Dovrin" / "Norv" / "norvtmp"
    staging.mkdir(parents=True)
    for name in ("norv.exe", "norvw.exe"):
        (staging / name).write_bytes(builder.stub.read_bytes())
    kit = qvk21()
    assert machine.install(builder.product(kit)).code == 0
    assert machine.install(builder.updater(f"ProductCode={kit.product_code}")).code == 0
    log = machine.log()
    assert "Norvpath: Installing and we are the latest SHIM-AWAREQVK, setup shims." in log
    assert "cannot set reparse point. System error [50](" in log
    assert log.rstrip().splitlines()[-1].startswith("\tTRACE: Exiting SetLatestQvr")
    assert machine.registry().value(
        "HKLM\\System\\CurrentControlSet\\Control\\Session Manager\\Environment", "Path") == before
