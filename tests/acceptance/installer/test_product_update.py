"""SetLatestQvr as a deferred action of the product's own package."""

from lab.descriptions import describe, facts
from lab.packages import UPDATE, legacy_qvr

HOME = "C:\\A Norv-日本"
MENU = "C:\\ProgramData\\Microsoft\\Windows\\Start Menu\\Programs\\Norv\\"


def test_first_product(machine, builder, describe_program, bits, tmp_path):
    machine.language = "zh_CN.UTF-8"
    # The user chooses the directory: wixl itself takes names of ASCII letters alone.
    qvr = legacy_qvr(bits=bits, trailing_backslash=True, files={"bin\\norvcpl.exe": None})
    assert machine.install(builder.product(qvr, UPDATE), INSTALLDIR=HOME).code == 0
    found = facts(describe(machine, describe_program, tmp_path / "after.json"))
    view = "" if bits == 64 else "Wow6432Node\\"
    family = f"HKLM\\Software\\{view}Halvorex\\Norv Runtime Environment"
    expected = {
        f"{family}\\1.8.0_451 [NorvHome]": HOME,
        f"{family}\\1.8 [NorvHome]": HOME,
        "HKLM\\Software\\Classes\\vkrfile\\shell\\open\\command []": f'"{HOME}\\bin\\norvw.exe" -vkr "%1" %*',
        f"{MENU}关于 Norv.lnk [shortcut]": {
            "target": f"{HOME}\\bin\\norvcpl.exe", "arguments": "-tab about", "description": "查看 Norv 版本信息。",
            "icon": f"{HOME}\\bin\\norv.exe,0"},
    }
    assert {name: found.get(name.casefold()) for name in expected} == expected
    # The file version of bin\norv.exe completes the version in the product code.
    assert "|1.8.0_451-b10|QVR|" in machine.log()
