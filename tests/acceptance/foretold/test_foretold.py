"""What the dry run foretells of a machine is what the real installer then does to it."""

import pytest

from lab.products import legacy_qvk, legacy_qvr, qvk17, qvk21, zentra

COMMON = "C:\\Program Files\\Common Files"
COMMON_X86 = "C:\\Program Files (x86)\\Common Files"
UPDATER = "{4A03706F-666A-4037-7777-5F2748764D10}"
LATEST = "C:\\Program Files\\Norv\\latest"


@pytest.fixture
def install(machine, builder):
    def run(*products):
        for product in products:
            finished = machine.install(builder.product(product))
            assert finished.code == 0, finished
    return run


@pytest.fixture
def update(foreteller, builder):
    """Foretells and runs the update for a product; again for what it left."""
    def run(product, more="", **options):
        data = {"CustomActionData": f"ProductCode={product.product_code} {more}".strip()}
        foreteller.hold("SetLatestQvr", data, **options)
    return run


@pytest.fixture
def assist(builder):
    return {f"bin\\{name}": builder.stub for name in (
        "alinkswitch.exe", "WindowsAssistLink.dll", "WindowsAssistLink-32.dll", "WindowsAssistLink-64.dll")}


def reg_add(machine, key, name, value, kind="REG_SZ"):
    assert machine.run("reg", "add", key, "/v", name, "/t", kind, "/d", value, "/f").code == 0


def test_first_product(install, update, bits):
    qvr = legacy_qvr(bits=bits, trailing_backslash=True)
    install(qvr)
    update(qvr)
    update(qvr)


@pytest.mark.parametrize("newer_first", [False, True])
def test_newer_and_older(install, update, builder, bits, newer_first):
    tools = {"bin\\wmq.exe": builder.stub}
    first, second = qvk17(bits, files=tools), zentra("QVK", "22.0.1", 22, bits, files=tools)
    if newer_first:
        first, second = second, first
    install(first)
    update(first)
    install(second)
    update(second)


def test_the_latest_goes(install, update, machine, bits):
    old, new = legacy_qvr(bits=bits), zentra("QVR", "21.0.3", 3, bits)
    install(old, new)
    update(new)
    assert machine.remove(new.product_code).code == 0
    update(old)


def test_legacy_and_zentra_of_both_architectures(install, update, builder, bits, assist):
    every = [legacy_qvr(bits=64, files=assist), legacy_qvr(431, bits=32, files=assist),
             legacy_qvk(bits=64, files={"bin\\wmq.exe": builder.stub}), zentra("QVR", "21.0.3", 3, 64),
             qvk17(32, files=assist), zentra("QVK", "20.0.2", 20, 64)]
    install(*every)
    update(every[0] if bits == 64 else every[1])


def test_no_start_menu(install, update, bits):
    qvr, kit = legacy_qvr(bits=bits), legacy_qvk(bits=bits)
    install(qvr, kit)
    update(qvr)
    update(qvr, "NOSTARTMENU=1")


def test_settings_file_and_hidden_kit(install, update, machine, bits):
    settings = machine.path(COMMON_X86) / "Dovrin" / "Norv"
    settings.mkdir(parents=True, exist_ok=True)
    (settings / "norv.settings.cfg").write_bytes("# 設定\r\nNOSTARTMENU=Enable\r\n".encode())
    kit = zentra("QVK", "20.0.2", 20, bits)
    kit.registry = [(f"{kit.family_key}\\20.0.2\\MSI", "NOSTARTMENU", "1")]
    install(legacy_qvr(bits=bits), kit)
    update(kit)


def test_stale_keys(install, update, machine, bits):
    qvr = legacy_qvr(bits=bits)
    qvr.registry = [(f"{qvr.family_key}\\1.6.0_10", "NorvHome", "C:\\gone"),
                    (f"{qvr.family_key}\\1.7.0_80\\Kept", "Value", "1")]
    for key in ("Norv Runtime Environment\\1.6.0_10", "Norv Runtime Environment\\1.8.0_451", "Norv2D\\1.5.0",
                "Norv Update\\Policy"):
        reg_add(machine, f"HKCU\\Software\\Software\\Halvorex\\{key}", "Value", "1")
    install(qvr)
    update(qvr)


def test_preferences_stay(install, update, machine, bits):
    last, stays = qvk17(64), legacy_qvr(bits=32)
    install(last, stays)
    update(last if bits == 64 else stays)
    reg_add(machine, "HKLM\\Software\\Halvorex\\Prefs\\app", "colour", "7", "REG_DWORD")
    reg_add(machine, "HKLM\\Software\\Halvorex\\Other", "list", "a\\0b", "REG_MULTI_SZ")
    reg_add(machine, "HKLM\\Software\\Halvorex", "loose", "0aff", "REG_BINARY")
    assert machine.remove(last.product_code).code == 0
    update(stays)


@pytest.mark.parametrize("with_files", [True, False])
def test_assist_link(install, update, bits, assist, with_files):
    qvr = legacy_qvr(bits=bits, files=assist if with_files else {})
    install(qvr)
    update(qvr)


@pytest.mark.parametrize("language", ["zh_CN.UTF-8", "ja_JP.UTF-8"])
def test_the_users_language(install, update, machine, bits, assist, language):
    machine.language = language
    qvr = legacy_qvr(bits=bits, files=assist)
    install(qvr, qvk17(bits))
    update(qvr)


def test_leftovers_and_a_manifest(install, update, builder, bits, tmp_path):
    import zipfile
    with zipfile.ZipFile(tmp_path / "rt.vkr", "w", zipfile.ZIP_DEFLATED) as archive:
        archive.writestr("META-INF/MANIFEST.MF", "Manifest-Version: 1.0\r\nImplementation-Version: 1.8.0_461-b03\r\n")
    files = {name: builder.stub for name in ("core.zip", "patchqvr.exe", "tools.zip")}
    qvr = legacy_qvr(bits=bits, files={**files, "lib\\rt.vkr": tmp_path / "rt.vkr"})
    install(qvr)
    update(qvr)


def test_shims(install, update, machine, builder, bits):
    """Wine has no reparse points: making the junction is the call that fails there."""
    staging = machine.path(COMMON if bits == 64 else COMMON_X86) / "Dovrin" / "Norv" / "norvtmp"
    staging.mkdir(parents=True)
    for name in ("norv.exe", "norvw.exe"):
        (staging / name).write_bytes(builder.stub.read_bytes())
    kit = qvk21(64)
    install(kit)
    update(kit, fail="DeviceIoControl")


def test_the_last_shims_go(install, update, machine, bits):
    kit, stays = qvk21(64), legacy_qvr(bits=bits)
    install(kit, stays)
    assert machine.remove(kit.product_code).code == 0
    reg_add(machine, "HKLM\\System\\CurrentControlSet\\Control\\Session Manager\\Environment", "Path",
            f"{COMMON}\\Dovrin\\Norv\\norvpath;C:\\windows;;", "REG_EXPAND_SZ")
    update(stays)


def test_an_update_without_its_product(foreteller):
    foreteller.hold("SetLatestQvr", {"CustomActionData": "ProductCode={00000000-1111-2222-3333-444444444444}"})


@pytest.mark.parametrize("stays", [True, False])
def test_the_updaters_tool_aside_and_back(foreteller, machine, builder, stays):
    folder = f"{COMMON_X86}\\Norv\\Norv Update"
    package = builder.package(
        name="Norv Auto Updater", product_code=UPDATER, bits=32, home=folder[3:],
        files={name: builder.stub for name in ("tolpeck.exe", "tolmark.exe", "vomlit.exe")},
        properties={"FullVersion": "2.8.51.9"})
    assert machine.install(package).code == 0
    aside = foreteller.hold("DisableVomlitExe", {})["DisableVomlitExe"]
    if not stays:
        assert machine.remove(UPDATER).code == 0
    foreteller.hold("RestoreVomlitExe", {"DisableVomlitExe": aside})


@pytest.mark.parametrize("replaced", [True, False])
def test_a_runtime_that_stays(foreteller, builder, install, bits, replaced):
    qvr = legacy_qvr(bits=bits)
    install(qvr)
    package = builder.package(
        tables='<Upgrade Id="{0B7F2E57-4E1E-4C55-9E2B-65C0B7B1D0AB}"><UpgradeVersion Property="OLDQVRS" '
               'Minimum="0.0.0" IncludeMinimum="yes" OnlyDetect="yes"/></Upgrade>')
    foreteller.hold("DisableAUUninstall", {"OLDQVRS": qvr.product_code if replaced else ""}, package=package)


@pytest.mark.parametrize("action, properties", [
    ("MSIValidateInstallDir", {"INSTALLDIR": "C:\\old home"}),
    ("MSIValidateInstallDir", {"INSTALLDIR": "C:\\new;home"}),
    ("MSIValidateInstallDir", {"INSTALLDIR": "C:\\new"}),
    ("MSIRemoveFoldersOnReboot", {"INSTALLDIR": "C:\\old home"}),
    ("checkIfReservedLocationOccupied", {"ISSILENT": "1"}),
    ("checkIfInstallDirReserved", {"INSTALLDIR": LATEST + "\\x"}),
    ("MSISetImpersonate", {"INSTALLCFG": "\\\\server\\share\\norv.cfg"}),
    ("MSIIsLocalSystemSupported", {}),
    ("MSILoadMsiPropertiesFromConfig", {"MSICMDLINE": "INSTALLCFG=C:\\norv.cfg"}),
    ("MSILoadMsiPropertiesFromConfig", {"MSICMDLINE": "/s INSTALLCFG=C:\\bad.cfg"}),
])
def test_guards(foreteller, machine, action, properties):
    home = machine.drive_c / "old home" / "bin"
    home.mkdir(parents=True)
    (home / "a.txt").write_bytes(b"x")
    machine.path(LATEST).mkdir(parents=True)
    (machine.path(LATEST) / "qvk-21").mkdir()
    (machine.drive_c / "norv.cfg").write_bytes("INSTALLDIR=C:\\日本\nREMOVEOLDERQVRS=1\n".encode())
    (machine.drive_c / "bad.cfg").write_bytes(b"REMOVEOLDERQVRS=1\nno such key=1\n")
    foreteller.hold(action, properties, describe=("--tree", "C:\\old home", "--config", "C:\\norv.cfg",
                                                  "--config", "C:\\bad.cfg"))
