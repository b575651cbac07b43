"""Predictions for machines that are damaged, that others have changed, or that nobody expects."""

import os
import zipfile

import pytest

from lab.packages import legacy_qvk, legacy_qvr, zentra

COMMON = "C:\\Program Files\\Common Files"
COMMON_X86 = "C:\\Program Files (x86)\\Common Files"
SYSTEM = "C:\\windows\\system32"
MENU = "C:\\ProgramData\\Microsoft\\Windows\\Start Menu\\Programs\\Norv"
SETTINGS = f"{COMMON_X86}\\Dovrin\\Norv\\norv.settings.cfg"
VENDOR = "HKEY_LOCAL_MACHINE\\Software\\Halvorex"
WINDOWS = "HKEY_LOCAL_MACHINE\\Software\\Microsoft\\Windows\\CurrentVersion"
ENVIRONMENT = "HKEY_LOCAL_MACHINE\\System\\CurrentControlSet\\Control\\Session Manager\\Environment"
SESSION_MANAGER = "HKEY_LOCAL_MACHINE\\System\\CurrentControlSet\\Control\\Session Manager"
ASSIST = dict.fromkeys(f"bin\\{name}" for name in (
    "alinkswitch.exe", "WindowsAssistLink.dll", "WindowsAssistLink-32.dll", "WindowsAssistLink-64.dll"))


def hex_of(text):
    """The bytes of a registry text as the registry editor writes them, without the NUL at the end."""
    return ",".join(f"{byte:02x}" for byte in text.encode("utf-16-le"))


def packed(code):
    """A product code as the installer's keys are named."""
    a, b, c, d, e = code.strip("{}").split("-")
    return a[::-1] + b[::-1] + c[::-1] + "".join(d[i + 1] + d[i] for i in (0, 2)) + \
        "".join(e[i + 1] + e[i] for i in range(0, 12, 2))


@pytest.fixture
def home(bits):
    """The home directory of the runtime."""
    return f"C:\\Program Files{'' if bits == 64 else ' (x86)'}\\Norv\\QVR-1.8.0_451"


@pytest.fixture
def qvr(bits):
    return legacy_qvr(bits=bits, files=ASSIST)


@pytest.fixture
def installed(machine, install, qvr):
    """A machine with one runtime."""
    install(qvr)
    return machine


def test_the_bridge_library_is_in_use(installed, update, qvr, tools, library, plain_package):
    bridge = f"{SYSTEM}\\WindowsAssistLink-64.dll"
    installed.write(bridge, (tools / "tool.exe").read_bytes())
    with installed.running(tools / "callaction.exe", installed.windows_path(library),
                           installed.windows_path(plain_package), f"load={bridge}", "wait"):
        update(qvr)


@pytest.mark.parametrize("content", [
    b"# \xf6\r\nNOSTARTMENU=1\r\n",
    "NOSTARTMENU=1\r\n".encode("utf-16"),
    b"\xef\xbb\xbfNOSTARTMENU=1\r\n",
    b"NOSTARTMENU=1\r\n\0\0\0\r\n",
    b"=\r\nNOSTARTMENU\r\n[section]\r\n",
    b"",
], ids=["Latin-1", "UTF-16", "UTF-8 with BOM", "NUL", "bad lines", "empty"])
def test_runtime_settings(installed, update, qvr, content):
    installed.write(SETTINGS, content)
    update(qvr)


def test_the_runtime_settings_are_a_directory(installed, update, qvr):
    installed.path(SETTINGS).mkdir(parents=True)
    update(qvr)


@pytest.mark.parametrize("content", [
    "INSTALLDIR=C:\\x\r\n".encode("utf-16"), b"INSTALLDIR=C:\\\xe4\xf6\r\n", b"INSTALLDIR=C:\\a\0b\r\n",
], ids=["UTF-16", "Latin-1", "NUL"])
def test_configuration_files(machine, hold, content):
    machine.write("C:\\norv.cfg", content)
    hold("MSILoadMsiPropertiesFromConfig", {"MSICMDLINE": "/s INSTALLCFG=C:\\norv.cfg"},
         describe_more=("--config", "C:\\norv.cfg"))


def archive(path, manifest):
    with zipfile.ZipFile(path, "w", zipfile.ZIP_DEFLATED) as opened:
        if manifest is not None:
            opened.writestr("META-INF/MANIFEST.MF", manifest)
        opened.writestr("other", b"x")
    return path.read_bytes()


@pytest.mark.parametrize("manifest", [
    b"Implementation-Vendor: M\xfcller\r\nImplementation-Version: 1.8.0_461-b03\r\n",
    b"Implementation-Version: no version\r\n",
    b"Implementation-Version: 17.0.9+9\r\n",
], ids=["Latin-1", "no version", "of the other scheme"])
def test_manifests(installed, update, qvr, manifest, tmp_path):
    installed.write("C:\\Program Files\\Norv\\QVR-1.8.0_451\\lib\\rt.vkr", archive(tmp_path / "rt.vkr", manifest))
    update(qvr)


@pytest.mark.parametrize("value", ["dword:00000007", "hex:", f"hex(2):{hex_of('%ProgramFiles%')},00,00"],
                         ids=["number", "bytes", "expandable text"])
def test_the_program_directory_has_another_type(machine, hold, value):
    machine.import_registry(f'[{WINDOWS}]\n"ProgramFilesDir"={value}\n')
    hold("checkIfReservedLocationOccupied", {})


@pytest.mark.parametrize("value", [
    '"C:\\\\windows;;C:\\\\Tools"', "-", "dword:00000007", f"hex(7):{hex_of('C:')},00,00,00,00",
    f"hex(2):{hex_of(';;C:;')},00,00", f"hex(2):{hex_of('C:')}",
], ids=["REG_SZ", "missing", "number", "REG_MULTI_SZ", "empty entries", "no NUL"])
def test_path(installed, update, qvr, value):
    installed.import_registry(f'[{ENVIRONMENT}]\n"Path"={value}\n')
    update(qvr)


def test_odd_keys_and_values(installed, update, qvr):
    family = f"{VENDOR}\\Norv Runtime Environment"
    installed.import_registry("\n".join([
        f"[{VENDOR}\\..]", '"x"="1"', f"[{VENDOR}\\.\\deep]", f"[{VENDOR}\\a/b]", '"c\\\\d"="e"', '"/"="f"', '""="g"',
        f"[{family}]", '"CurrentVersion"=dword:00000001', f"[{family}\\1.8]", '"NorvHome"=hex:0a,ff',
        f"[{family}\\1.8.0_451]", f'"RuntimeLib"=hex(2):{hex_of("%SystemRoot%")},00,00',
        f'"MicroVersion"=hex(1):{hex_of("a")},00,00,{hex_of("b")},00,00',
        '"mine"=hex(12345678):01,02', '"wide"=hex(b):00,00,00,00,01,00,00,00',
        f"[{family}\\1.6.0_10\\kept]", f"[{family}\\1.5.0]", ""]))
    update(qvr)


def test_a_version_key_whose_home_is_no_text(installed, update, qvr):
    installed.import_registry(f'[{VENDOR}\\Norv Runtime Environment\\1.8.0_451]\n"NorvHome"=dword:00000007\n')
    update(qvr)


def test_keys_of_the_user(installed, update, qvr):
    installed.import_registry("\n".join([
        "[HKEY_CURRENT_USER\\Software\\Halvorex\\Prefs\\secret]", '"name"="not described"',
        "[HKEY_CURRENT_USER\\Software\\Software\\Halvorex\\Prefs\\secret]", '"name"="not described"',
        "[HKEY_CURRENT_USER\\Software\\Software\\Halvorex\\Norv Runtime Environment\\1.6.0_10]", '@="1"',
        "[HKEY_CURRENT_USER\\Software\\Software\\Halvorex\\Norv2D\\1.8.0_451\\x]", '"y"=dword:00000001', ""]))
    update(qvr)


@pytest.mark.parametrize("file", ["bin\\norv.exe", "core.zip", "bin\\WindowsAssistLink-64.dll"])
def test_a_file_of_the_product_is_read_only(machine, install, update, bits, home, file):
    product = legacy_qvr(bits=bits, files=ASSIST | {"core.zip": None})
    install(product)
    os.chmod(machine.path(f"{home}\\{file}"), 0o444)
    update(product)


def test_the_old_bridge_library_is_read_only(installed, update, qvr, tools):
    installed.write(f"{SYSTEM}\\WindowsAssistLink-64.dll", (tools / "tool.exe").read_bytes())
    os.chmod(installed.path(f"{SYSTEM}\\WindowsAssistLink-64.dll"), 0o444)
    update(qvr)


def test_the_menu_holds_what_others_put_there(installed, update, qvr):
    installed.write(f"{MENU}\\About Norv.lnk", b"no shortcut at all")
    installed.write(f"{MENU}\\Mine\\notes.txt", b"mine")
    installed.write(f"{MENU}\\Visit Norv.url", b"[InternetShortcut]\r\nURL=http://x/\r\nIconFile=C:\\a,b.ico\r\n")
    update(qvr)


def test_the_menus_folder_is_a_file(installed, update, qvr):
    installed.write(MENU, b"x")
    update(qvr)


@pytest.mark.parametrize("shims", ["norvpath", "norvtmp"])
@pytest.mark.parametrize("is_directory", [True, False])
def test_a_shim_directory_is_none(machine, install, update, shims, is_directory):
    kit = zentra("QVK", "21.0.12.1+1", 64)
    install(kit)
    place = f"{COMMON}\\Dovrin\\Norv\\{shims}"
    machine.write(f"{place}\\norv.exe" if is_directory else place, b"x")
    # Wine has no reparse points: making the junction is the call that fails there.
    update(kit, dry_run_more=("--fail", "DeviceIoControl") if shims == "norvtmp" else ())


def test_an_install_location_on_a_share(installed, update, qvr, home):
    share = installed.directory / "dosdevices/unc/server/share"
    (share / "Norv/bin").mkdir(parents=True)
    for name in ("norv.exe", "norvw.exe", "alinkswitch.exe", "WindowsAssistLink-64.dll"):
        (share / "Norv/bin" / name).write_bytes(installed.path(f"{home}\\bin\\norv.exe").read_bytes())
    installed.import_registry(f'[{install_properties(qvr)}]\n"InstallLocation"="\\\\\\\\server\\\\share\\\\Norv\\\\"\n')
    update(qvr)


def install_properties(product):
    return f"{WINDOWS}\\Installer\\UserData\\S-1-5-18\\Products\\{packed(product.product_code)}\\InstallProperties"


@pytest.mark.parametrize("location", ["", "c:\\PROGRAM FILES\\norv\\qvr-1.8.0_451",
                                      "C:\\gone", "C:\\a|b"])
def test_install_locations(installed, update, qvr, location):
    text = location.replace("\\", "\\\\")
    installed.import_registry(f'[{install_properties(qvr)}]\n"InstallLocation"="{text}"\n')
    update(qvr)


def test_a_relative_install_location_is_not_read(installed, hold, qvr):
    installed.import_registry(f'[{install_properties(qvr)}]\n"InstallLocation"="Norv"\n')
    hold("MSIIsLocalSystemSupported", {}, unread=[f"{qvr.product_code} [InstallLocation]"])


@pytest.mark.parametrize("value", ["DisplayIcon", "Readme"])
def test_the_home_is_found_by_the_uninstall_key(installed, update, qvr, value):
    home = "C:\\\\Program Files\\\\Norv\\\\QVR-1.8.0_451"
    installed.import_registry(f'[{install_properties(qvr)}]\n"InstallLocation"=""\n'
                              f'[{WINDOWS}\\Uninstall\\{qvr.product_code}]\n"{value}"="{home}\\\\bin\\\\norv.exe"\n')
    update(qvr)


@pytest.mark.parametrize("content", [None, b"no package"], ids=["missing", "damaged"])
def test_the_cached_package(installed, update, qvr, content):
    for package in installed.path("C:\\windows\\Installer").glob("*.msi"):
        package.unlink()
        if content is not None:
            package.write_bytes(content)
    update(qvr)


def users_properties(machine, product):
    """What the installer keeps of a product that the user has installed."""
    package = next(machine.path("C:\\windows\\Installer").glob("*.msi")).name
    key = f"{WINDOWS}\\Installer\\UserData\\S-1-5-21-0-0-0-1000\\Products\\{packed(product.product_code)}"
    return (f'[{key}\\InstallProperties]\n"LocalPackage"="C:\\\\windows\\\\Installer\\\\{package}"\n'
            '"InstallLocation"="C:\\\\Program Files\\\\Norv\\\\QVR-1.8.0_451\\\\"\n')


def test_a_product_that_is_installed_for_the_machine_and_for_the_user(installed, update, qvr):
    installed.import_registry(f"[HKEY_CURRENT_USER\\Software\\Microsoft\\Installer\\Products\\{packed(qvr.product_code)}]\n"
                              '"ProductName"="Norv"\n' + users_properties(installed, qvr))
    update(qvr)


def test_moves_that_wait_for_the_restart(installed, update, qvr):
    home = "\\??\\C:\\Program Files\\Norv\\QVR-1.8.0_451"
    names = [f"{home}\\core.zip", "", f"{home}\\bin\\a.tmp", f"!{home}\\bin\\norv.exe", "\\??\\C:\\other\\file", "", f"{home}2", ""]
    value = hex_of("\0".join(names) + "\0\0")
    installed.import_registry(f'[{SESSION_MANAGER}]\n"PendingFileRenameOperations"=hex(7):{value}\n')
    update(qvr)


@pytest.mark.parametrize("missing", ["tolpeck.exe", "vomlit.exe"])
def test_an_updater_that_is_not_whole(machine, hold, updater, missing):
    assert machine.install(updater).code == 0
    machine.path(f"{COMMON_X86}\\Norv\\Norv Update\\{missing}").unlink()
    hold("DisableVomlitExe", {})


def test_the_updaters_tool_of_no_product(machine, hold):
    machine.write(f"{COMMON_X86}\\Norv\\Norv Update\\vomlit.exe", b"x")
    hold("DisableVomlitExe", {})


def test_the_launcher_is_damaged(machine, install, update, bits):
    qvr, kit = legacy_qvr(bits=bits), legacy_qvk(bits=bits)
    install(qvr, kit)
    machine.write("C:\\Program Files\\Norv\\QVR-1.8.0_451\\bin\\norv.exe", b"MZ and nothing more")
    update(qvr)


def test_nothing_is_written_to_the_users_own_desktop_folders(installed, update, qvr, tmp_path):
    home = tmp_path / "home"
    home.mkdir()
    installed.extra_environment |= {"HOME": str(home), "XDG_DATA_HOME": str(home / "data"),
                                    "XDG_CONFIG_HOME": str(home / "config")}
    update(qvr)
    assert list(home.iterdir()) == []
