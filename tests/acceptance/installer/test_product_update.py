"""SetLatestQvr as a deferred action of the product's own package."""

import pytest

from lab.descriptions import describe, facts
from lab.packages import UPDATE
from lab.products import legacy_qvr

MENU = "C:\\ProgramData\\Microsoft\\Windows\\Start Menu\\Programs\\Norv\\"


@pytest.mark.parametrize("home, language, shortcut, description", [
    ("C:\\Program Files\\A home of Käse", "en_US.UTF-8", "About Norv", "View Norv version information."),
    ("C:\\Norv-日本", "zh_CN.UTF-8", "关于 Norv", "查看 Norv 版本信息。"),
])
def test_first_product(machine, builder, tools, bits, tmp_path, home, language, shortcut, description):
    machine.language = language
    # The user chooses the directory: wixl itself takes names of ASCII letters alone.
    qvr = legacy_qvr(bits=bits, home="Norv home", trailing_backslash=True, files={"bin\\norvcpl.exe": builder.stub})
    assert machine.install(builder.product(qvr, UPDATE), INSTALLDIR=home).code == 0
    found = facts(describe(machine, tools.parents[1] / "describe.exe", tmp_path / "after.json"))
    view = "" if bits == 64 else "Wow6432Node\\"
    family = f"HKLM\\Software\\{view}Halvorex\\Norv Runtime Environment"
    expected = {
        f"{family} [CurrentVersion]": "1.8",
        f"{family}\\1.8.0_451 [NorvHome]": home,
        f"{family}\\1.8 [NorvHome]": home,
        "HKLM\\Software\\Classes\\.vkr []": "vkrfile",
        "HKLM\\Software\\Classes\\vkrfile\\shell\\open\\command []": f'"{home}\\bin\\norvw.exe" -vkr "%1" %*',
        "HKLM\\Software\\Classes\\Applications\\norvw.exe [IsHostApp]": "",
        f"{MENU}{shortcut}.lnk [shortcut]": {
            "target": f"{home}\\bin\\norvcpl.exe", "arguments": "-tab about", "description": description,
            "icon": f"{home}\\bin\\norv.exe,0"},
    }
    assert {name: found.get(name.casefold()) for name in expected} == expected
    # The file version of bin\norv.exe completes what the product code tells.
    assert "|1.8.0_451-b10|QVR|" in machine.log()
