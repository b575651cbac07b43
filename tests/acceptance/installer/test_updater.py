"""The actions that keep the auto-updater out of the way, around real removals."""

import pytest

UPDATER = "{4A03706F-666A-4037-7777-5F2748764D10}"
FOLDER = "C:\\Program Files (x86)\\Common Files\\Norv\\Norv Update"
TOOL = FOLDER + "\\vomlit.exe"
REPLACING_CODE = "{C6C2A8B5-77F7-4E6B-A4B2-4C1C22B0D3A1}"


@pytest.fixture
def updater(builder):
    """The updater's own package: its three executables and its version."""
    files = {name: builder.stub for name in ("tolpeck.exe", "tolmark.exe", "vomlit.exe")}
    return builder.package(name="Norv Auto Updater", product_code=UPDATER, bits=32,
                           home=FOLDER[3:], files=files, properties={"FullVersion": "2.8.51.9"})


@pytest.mark.parametrize("stays", [True, False])
def test_two_actions_of_one_package_around_a_removal(machine, builder, updater, stays):
    """The package moves the tool aside, removes an older runtime, and moves the tool back."""
    old_upgrade = "{0B7F2E57-4E1E-4C55-9E2B-65C0B7B1D0AA}"
    removed = builder.package(name="Norv old part", product_code=REPLACING_CODE, upgrade_code=old_upgrade)
    assert machine.install(removed).code == 0
    assert machine.install(updater).code == 0
    if not stays:
        # The updater itself is what goes.
        old_upgrade = builder.upgrade_codes[updater]
    package = builder.package(
        name="Norv new part",
        immediate=[("DisableVomlitExe", 1405), ("RestoreVomlitExe", 1415)],
        tables=f'<Upgrade Id="{old_upgrade}"><UpgradeVersion Property="OLDPART" Minimum="0.0.0" '
               'IncludeMinimum="yes" OnlyDetect="no"/></Upgrade>',
        standard=[("FindRelatedProducts", 200), ("RemoveExistingProducts", 1410)])
    finished = machine.install(package)
    assert finished.code == 0, finished
    log = machine.log()
    assert f"DisableVomlitExe=[{UPDATER}*" in log
    assert machine.path(TOOL).exists() == stays
