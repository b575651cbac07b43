"""The actions that keep the auto-updater out of the way, around real removals."""

import pytest

from lab.products import legacy_qvr

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


def test_without_the_tool_nothing_is_done(machine, session):
    assert session("call=DisableVomlitExe", "get=DisableVomlitExe") == [
        "call DisableVomlitExe: 0", "get DisableVomlitExe: "]


def test_a_tool_of_nobody_stays(machine, session):
    machine.path(FOLDER).mkdir(parents=True)
    machine.path(TOOL).write_bytes(b"tool")
    assert session("call=DisableVomlitExe", "get=DisableVomlitExe")[1] == "get DisableVomlitExe: "
    assert machine.path(TOOL).exists()
    assert f"Unexpected state: '{TOOL}' path exists, but no products that provide it detected." in machine.log()


def test_the_tool_is_moved_aside_and_back(machine, session, updater):
    assert machine.install(updater).code == 0
    lines = session("call=DisableVomlitExe", "get=DisableVomlitExe", "call=RestoreVomlitExe")
    assert lines[0] == "call DisableVomlitExe: 0"
    code, aside = lines[1].removeprefix("get DisableVomlitExe: ").split("*")
    assert code == UPDATER and aside.endswith(".tmp")
    assert lines[2] == "call RestoreVomlitExe: 0"
    assert machine.path(TOOL).exists() and not machine.path(aside).exists()


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


@pytest.mark.parametrize("replaced, expected", [(True, ""), (False, ";")])
def test_whether_a_runtime_stays_behind(machine, builder, session, bits, replaced, expected):
    qvr = legacy_qvr(bits=bits)
    assert machine.install(builder.product(qvr)).code == 0
    package = builder.package(
        tables='<Upgrade Id="{0B7F2E57-4E1E-4C55-9E2B-65C0B7B1D0AB}"><UpgradeVersion Property="OLDQVRS" '
               'Minimum="0.0.0" IncludeMinimum="yes" OnlyDetect="yes"/></Upgrade>')
    value = f"{qvr.product_code};" if replaced else ""
    assert session(f"set=OLDQVRS={value}", "call=DisableAUUninstall", "get=AUVERSIONSINSTALLED",
                   package=package) == ["call DisableAUUninstall: 0", f"get AUVERSIONSINSTALLED: {expected}"]
