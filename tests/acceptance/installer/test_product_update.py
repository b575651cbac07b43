"""SetLatestQvr in the real installer: registry, files, log and msiexec's exit code."""

import pytest

from lab.packages import UPDATE
from lab.products import legacy_qvr, legacy_qvk, qvk17, qvk21, zentra

HALVOREX = "Software\\Halvorex"
CLASSES = "HKLM\\Software\\Classes"


@pytest.fixture
def root(bits):
    """Where a product of the library's architecture keeps its keys."""
    return "HKLM" if bits == 64 else "HKLM32"


class Story:
    """Installs and removes products one after the other, each followed by an update."""

    def __init__(self, machine, builder, bits):
        self.machine, self.builder, self.bits = machine, builder, bits

    def install(self, *products):
        for product in products:
            finished = self.machine.install(self.builder.product(product))
            assert finished.code == 0, finished
            assert self.update(product) == 0

    def remove(self, product, then):
        """Removes a product and runs the update for one that stays."""
        assert self.machine.remove(product.product_code).code == 0
        assert self.update(then) == 0

    def update(self, product):
        return self.run(f"ProductCode={product.product_code}")

    def run(self, arguments):
        finished = self.machine.install(self.builder.updater(arguments))
        self.output = finished.output
        return finished.code


@pytest.fixture
def story(machine, builder, bits):
    return Story(machine, builder, bits)


def current_versions(registry, root):
    return {name: registry.value(f"{root}\\{HALVOREX}\\{name}", "CurrentVersion")
            for name in ("Norv Runtime Environment", "QVR", "Norv Development Kit", "QVK")}


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


@pytest.mark.parametrize("order", [("old", "new"), ("new", "old")])
def test_newer_beside_older_in_both_orders(story, machine, bits, root, order):
    products = {"old": qvk17(bits, files={"bin\\wmq.exe": story.builder.stub}),
                "new": qvk21(bits, files={"bin\\wmq.exe": story.builder.stub})}
    story.install(*[products[age] for age in order])
    registry = machine.registry()
    assert registry.value(f"{root}\\{HALVOREX}\\QVK", "CurrentVersion") == "21.0.12.1"
    assert registry.subkeys(f"{root}\\{HALVOREX}\\QVK") == ["17.0.9", "21.0.12.1"]
    assert registry.value(f"{CLASSES}\\zpmfile\\shell\\open\\command", "") == \
        f'"{products["new"].home_directory}\\bin\\wmq.exe" -open "%1" %*'


def test_legacy_and_zentra_together_and_the_latest_goes(story, machine, bits, root):
    old, kit, new = legacy_qvr(bits=bits), legacy_qvk(bits=bits), zentra("QVR", "21.0.3", 3, bits)
    story.install(old, kit, new)
    assert current_versions(machine.registry(), root) == {
        "Norv Runtime Environment": "1.8", "QVR": "21.0.3", "Norv Development Kit": "1.8", "QVK": None}
    assert machine.registry().value(f"{CLASSES}\\vkrfile\\shell\\open\\command", "").startswith(
        f'"{new.home_directory}\\')

    story.remove(new, then=old)
    registry = machine.registry()
    assert current_versions(registry, root) == {
        "Norv Runtime Environment": "1.8", "QVR": None, "Norv Development Kit": "1.8", "QVK": None}
    assert registry.key(f"{root}\\{HALVOREX}\\QVR") is None
    assert registry.value(f"{CLASSES}\\vkrfile\\shell\\open\\command", "").startswith(
        f'"{old.home_directory}\\')


def test_stale_version_keys_go_unless_they_have_subkeys(story, machine, bits, root):
    qvr = legacy_qvr(bits=bits)
    stale = [(f"{qvr.family_key}\\1.6.0_10", "NorvHome", "C:\\gone"),
             (f"{qvr.family_key}\\1.7.0_80\\Kept", "Value", "1")]
    qvr.registry = stale
    story.install(qvr)
    assert machine.registry().subkeys(f"{root}\\{qvr.family_key}") == ["1.7.0_80", "1.8", "1.8.0_451"]


def test_prefs_stay_when_the_last_product_of_an_architecture_goes(story, machine, bits):
    if bits == 32:
        pytest.skip("a 32-bit library sees the same; the keys of the 64-bit view are of interest here")
    last64 = qvk21(64, registry=[(f"{HALVOREX}\\Other", "Value", "1")])
    stays = legacy_qvr(bits=32, home="Program Files (x86)\\Norv\\QVR-1.8.0_451")
    story.install(last64, stays)
    assert machine.run("reg", "add", f"HKLM\\{HALVOREX}\\Prefs\\app", "/v", "colour", "/d", "blue", "/f").code == 0
    assert machine.run("reg", "add", f"HKLM\\{HALVOREX}", "/v", "loose", "/d", "1", "/f").code == 0
    story.remove(last64, then=stays)
    registry = machine.registry()
    assert registry.subkeys(f"HKLM\\{HALVOREX}") == ["prefs"]
    assert registry.value(f"HKLM\\{HALVOREX}\\Prefs\\app", "colour") == "blue"
    assert registry.value(f"HKLM\\{HALVOREX}", "loose") is None
    assert registry.value(f"HKLM32\\{HALVOREX}\\Norv Runtime Environment", "CurrentVersion") == "1.8"


@pytest.mark.parametrize("arguments, reason", [
    ("ProductCode={00000000-1111-2222-3333-444444444444}",
     "No matching Norv found for {00000000-1111-2222-3333-444444444444} Product Code in the given "
     "products range"),
    # The configuration has no such key; the settings library's exceptions tell a status alone.
    ("", "Exception with message '' caught"),
    ("ProductCode=nonsense", "IIDFromString(nonsense) failed"),
    ("NOSTARTMENU=perhaps", "Malformed params: error 3090, param1=\"\"NOSTARTMENU=perhaps\";\""),
])
def test_an_update_without_its_product_fails_the_install(story, machine, arguments, reason):
    assert story.run(arguments) == 1603
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


def test_install_leftovers_go_from_the_home_directory(machine, builder, bits):
    leftovers = {name: builder.stub for name in ("core.zip", "patchqvr.exe", "tools.zip", "keep.zip")}
    qvr = legacy_qvr(bits=bits, files=leftovers)
    assert machine.install(builder.product(qvr, UPDATE)).code == 0
    left = sorted(p.name for p in machine.path(qvr.home_directory).iterdir() if p.is_file())
    assert left == ["keep.zip"]
