"""What the dry run predicts for a machine is what the real installer then does to it."""

import zipfile

import pytest

from lab.packages import legacy_qvk, legacy_qvr, zentra

COMMON = "C:\\Program Files\\Common Files"
COMMON_X86 = "C:\\Program Files (x86)\\Common Files"
LATEST = "C:\\Program Files\\Norv\\latest"
ASSIST = dict.fromkeys(f"bin\\{name}" for name in (
    "alinkswitch.exe", "WindowsAssistLink.dll", "WindowsAssistLink-32.dll", "WindowsAssistLink-64.dll"))
WMQ = {"bin\\wmq.exe": None}


def reg_add(machine, key, name, value, kind="REG_SZ"):
    assert machine.run("reg", "add", key, "/v", name, "/t", kind, "/d", value, "/f").code == 0


def test_first_product(install, update, bits):
    qvr = legacy_qvr(bits=bits, trailing_backslash=True)
    install(qvr)
    update(qvr)
    update(qvr)


@pytest.mark.parametrize("versions", [("17.0.9", "22.0.1"), ("22.0.1", "17.0.9")])
def test_newer_and_older(install, update, bits, versions):
    for version in versions:
        kit = zentra("QVK", version, bits, files=WMQ)
        install(kit)
        update(kit)


def test_the_latest_goes(install, update, machine, bits):
    old, new = legacy_qvr(bits=bits), zentra("QVR", "21.0.3", bits)
    install(old, new)
    update(new)
    assert machine.remove(new.product_code).code == 0
    update(old)


def test_legacy_and_zentra_of_both_architectures(install, update, bits):
    every = [legacy_qvr(bits=64, files=ASSIST), legacy_qvr(431, bits=32, files=ASSIST),
             legacy_qvk(bits=64, files=WMQ), zentra("QVR", "21.0.3", 64),
             zentra("QVK", "17.0.9", 32, files=ASSIST), zentra("QVK", "20.0.2", 64)]
    install(*every)
    update(every[0] if bits == 64 else every[1])


def test_no_start_menu(install, update, bits):
    qvr = legacy_qvr(bits=bits)
    install(qvr, legacy_qvk(bits=bits))
    update(qvr)
    update(qvr, "NOSTARTMENU=1")


def test_settings_file_and_hidden_kit(install, update, machine, bits):
    machine.write(f"{COMMON_X86}\\Dovrin\\Norv\\norv.settings.cfg", "# 設定\r\nNOSTARTMENU=Enable\r\n".encode())
    kit = zentra("QVK", "20.0.2", bits)
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
    last, stays = zentra("QVK", "17.0.9", 64), legacy_qvr(bits=32)
    install(last, stays)
    update(last if bits == 64 else stays)
    reg_add(machine, "HKLM\\Software\\Halvorex\\Prefs\\app", "colour", "7", "REG_DWORD")
    reg_add(machine, "HKLM\\Software\\Halvorex\\Other", "list", "a\\0b", "REG_MULTI_SZ")
    reg_add(machine, "HKLM\\Software\\Halvorex", "loose", "0aff", "REG_BINARY")
    assert machine.remove(last.product_code).code == 0
    update(stays)


@pytest.mark.parametrize("files", [ASSIST, {}])
def test_assist_link(install, update, bits, files):
    qvr = legacy_qvr(bits=bits, files=files)
    install(qvr)
    update(qvr)


@pytest.mark.parametrize("language", ["zh_CN.UTF-8", "ja_JP.UTF-8"])
def test_the_users_language(install, update, machine, bits, language):
    machine.language = language
    qvr = legacy_qvr(bits=bits, files=ASSIST)
    install(qvr, zentra("QVK", "17.0.9", bits))
    update(qvr)


def test_leftovers_and_a_manifest(install, update, bits, tmp_path):
    with zipfile.ZipFile(tmp_path / "rt.vkr", "w", zipfile.ZIP_DEFLATED) as archive:
        archive.writestr("META-INF/MANIFEST.MF", "Manifest-Version: 1.0\r\nImplementation-Version: 1.8.0_461-b03\r\n")
    qvr = legacy_qvr(bits=bits, files={"core.zip": None, "patchqvr.exe": None, "tools.zip": None,
                                       "lib\\rt.vkr": tmp_path / "rt.vkr"})
    install(qvr)
    update(qvr)


def test_shims(install, update, machine, bits, tools):
    """Wine has no reparse points: making the junction is the call that fails there."""
    for name in ("norv.exe", "norvw.exe"):
        machine.write(f"{COMMON if bits == 64 else COMMON_X86}\\Dovrin\\Norv\\norvtmp\\{name}",
                      (tools / "tool.exe").read_bytes())
    kit = zentra("QVK", "21.0.12.1+1", 64)
    install(kit)
    update(kit, dry_run_more=("--fail", "DeviceIoControl"))


def test_the_last_shims_go(install, update, machine, bits):
    kit, stays = zentra("QVK", "21.0.12.1+1", 64), legacy_qvr(bits=bits)
    install(kit, stays)
    assert machine.remove(kit.product_code).code == 0
    reg_add(machine, "HKLM\\System\\CurrentControlSet\\Control\\Session Manager\\Environment", "Path",
            f"{COMMON}\\Dovrin\\Norv\\norvpath;C:\\windows;;", "REG_EXPAND_SZ")
    update(stays)


def test_an_update_without_its_product(hold):
    hold("SetLatestQvr", {"CustomActionData": "ProductCode={00000000-1111-2222-3333-444444444444}"})


@pytest.mark.parametrize("stays", [True, False])
def test_the_updaters_tool_aside_and_back(hold, machine, updater, stays):
    assert machine.install(updater).code == 0
    aside = hold("DisableVomlitExe", {})["DisableVomlitExe"]
    if not stays:
        assert machine.remove(machine.windows_path(updater)).code == 0
    hold("RestoreVomlitExe", {"DisableVomlitExe": aside})


@pytest.mark.parametrize("replaced", [True, False])
def test_a_runtime_that_stays(hold, builder, install, bits, replaced):
    qvr = legacy_qvr(bits=bits)
    install(qvr)
    package = builder.package(
        more='<Upgrade Id="{0B7F2E57-4E1E-4C55-9E2B-65C0B7B1D0AB}"><UpgradeVersion Property="OLDQVRS" '
             'Minimum="0.0.0" IncludeMinimum="yes" OnlyDetect="yes"/></Upgrade>')
    hold("DisableAUUninstall", {"OLDQVRS": qvr.product_code if replaced else ""}, package=package)


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
def test_guards(hold, machine, action, properties):
    machine.write("C:\\old home\\bin\\a.txt", b"x")
    machine.path(f"{LATEST}\\qvk-21").mkdir(parents=True)
    machine.write("C:\\norv.cfg", "INSTALLDIR=C:\\日本\nREMOVEOLDERQVRS=1\n".encode())
    machine.write("C:\\bad.cfg", b"REMOVEOLDERQVRS=1\nno such key=1\n")
    hold(action, properties, describe_more=("--tree", "C:\\old home", "--config", "C:\\norv.cfg",
                                            "--config", "C:\\bad.cfg"))
