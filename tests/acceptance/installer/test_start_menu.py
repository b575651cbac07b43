"""What a user sees after the update: the Start menu."""

import pytest

from lab.packages import UPDATE
from lab.products import legacy_qvr

PROGRAMS = "C:\\ProgramData\\Microsoft\\Windows\\Start Menu\\Programs"


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
