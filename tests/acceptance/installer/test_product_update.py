"""SetLatestQvr in the real installer: registry, files, log and msiexec's exit code."""

import pytest

from lab.packages import UPDATE
from lab.products import legacy_qvr

HALVOREX = "Software\\Halvorex"
CLASSES = "HKLM\\Software\\Classes"


@pytest.fixture
def root(bits):
    """Where a product of the library's architecture keeps its keys."""
    return "HKLM" if bits == 64 else "HKLM32"


def errors(log):
    return [line for line in log.splitlines() if line.startswith("\tERROR: ")]


def test_first_product_by_its_own_deferred_action(machine, builder, bits, root):
    qvr = legacy_qvr(bits=bits, trailing_backslash=True)
    assert machine.install(builder.product(qvr, UPDATE)).code == 0
    registry = machine.registry()

    family = f"{root}\\{qvr.family_key}"
    assert registry.value(family, "CurrentVersion") == "1.8"
    assert registry.value(f"{family}\\1.8.0_451", "NorvHome") == qvr.home_directory
    assert registry.key(f"{family}\\1.8").values == {
        "runtimelib": qvr.home_directory + "\\bin\\server\\norv.dll",
        "norvhome": qvr.home_directory, "microversion": "0"}
    assert registry.value(f"{CLASSES}\\vkrfile", "") == "Executable Vkr File"
    assert registry.value(f"{CLASSES}\\vkrfile\\shell\\open\\command", "") == \
        f'"{qvr.home_directory}\\bin\\norvw.exe" -vkr "%1" %*'
    assert registry.value(f"{CLASSES}\\.vkr", "") == "vkrfile"
    assert registry.key(f"{CLASSES}\\zpmfile") is None
    for executable in ("norv.exe", "norvw.exe"):
        assert registry.value(f"{CLASSES}\\Applications\\{executable}", "IsHostApp") == ""
    log = machine.log()
    assert "\tTRACE: Entering SetLatestQvr\n" in log
    assert "\tTRACE: InstallNorv(1.8.0_451" in log
    # The file version of bin\norv.exe completes what the product code tells.
    assert "|1.8.0_451-b10|QVR|" in log


@pytest.mark.parametrize("arguments, reason", [
    ("ProductCode={00000000-1111-2222-3333-444444444444}",
     "No matching Norv found for {00000000-1111-2222-3333-444444444444} Product Code in the given "
     "products range"),
    # The configuration has no such key; the settings library's exceptions tell a status alone.
    ("", "Exception with message '' caught"),
    ("ProductCode=nonsense", "IIDFromString(nonsense) failed"),
    ("NOSTARTMENU=perhaps", "Malformed params: error 3090, param1=\"\"NOSTARTMENU=perhaps\";\""),
])
def test_an_update_without_its_product_fails_the_install(machine, builder, arguments, reason):
    assert machine.install(builder.updater(arguments)).code == 1603
    records = errors(machine.log())
    assert reason in records[-1]
    assert machine.log().rstrip().splitlines()[-1].startswith("\tTRACE: Exiting SetLatestQvr")
    assert machine.registry().key(f"HKLM\\{HALVOREX}") is None


@pytest.mark.parametrize("home", ["C:\\Program Files\\A home with blanks", "C:\\Norv-Käse-日本"])
def test_home_directories_with_blanks_and_other_letters(machine, builder, bits, root, home):
    # The user chooses the directory: wixl itself takes names of ASCII letters alone.
    qvr = legacy_qvr(bits=bits, home="Norv home", trailing_backslash=True)
    assert machine.install(builder.product(qvr, UPDATE), INSTALLDIR=home).code == 0
    registry = machine.registry()
    assert registry.value(f"{root}\\{qvr.family_key}\\1.8", "NorvHome") == home
    assert registry.value(f"{CLASSES}\\vkrfile\\shell\\open\\command", "") == \
        f'"{home}\\bin\\norvw.exe" -vkr "%1" %*'
    assert home in machine.log()
