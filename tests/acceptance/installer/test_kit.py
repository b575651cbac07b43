"""Packages that take the kit's actions as the page says, installed, upgraded and removed."""

import subprocess

import pytest

from lab.packages import UPDATE, legacy_qvr, zentra

RESERVED = "The directory chosen for installation is reserved. Please choose another location."
STAGING = "C:\\Program Files\\Common Files\\Dovrin\\Norv\\norvtmp\\"
TARGETS = "Program Files/Common Files/Dovrin/Norv"


@pytest.fixture(scope="session")
def example(work, kit, library, bits):
    """The kit's example, built by the page's commands."""
    package = work / "example.msi"
    architecture = library.parent.name
    subprocess.run(["wixl", "-a", architecture, "-D", f"Bits={bits}", "-D", f"NorvcaLibrary={architecture}/norvca.dll",
                    "-I", "wix", "-o", package, "wix/example.wxs"], check=True, cwd=kit)
    subprocess.run(["sh", "wix/finish", package], check=True, cwd=kit)
    return package


@pytest.fixture
def install(machine, example):
    """Installs the example without its update, which can't read the product's own package under Wine."""
    def run(ui="/qn", **properties):
        return machine.install(example, ui=ui, NORVCA_NO_UPDATE="1", **properties)
    return run


def files(machine, directory):
    return {path.name for path in machine.path(directory).rglob("*") if path.is_file()}


def test_the_example_is_installed_and_removed_with_what_was_added(machine, install, example):
    assert install(INSTALLDIR="C:\\chosen").code == 0
    assert files(machine, "C:\\chosen") == {"NOTICE", "CHANGELOG.md"}
    machine.write("C:\\chosen\\cache\\added.bin", b"x")
    assert machine.remove(machine.windows_path(example)).code == 0
    assert not machine.path("C:\\chosen").exists()


def test_a_feature_left_out_switches_no_check_off(machine, install):
    machine.write("C:\\full\\file", b"x")
    assert install(INSTALLDIR="C:\\full", ADDLOCAL="ALL", REMOVE="Extra").code == 1603
    assert "INSTALLDIR C:\\full\\ is not empty. It is not supported by this product." in machine.log()


def test_a_feature_left_out_switches_no_update_off(machine, builder, bits):
    package = builder.product(legacy_qvr(bits=bits), UPDATE, more='<Feature Id="Extra" Level="1"/>')
    assert machine.install(package, ADDLOCAL="ALL", REMOVE="Extra").code == 0
    assert "Exiting SetLatestQvr" in machine.log()


def test_a_silent_install_into_the_reserved_directory_fails(machine, install):
    assert install(INSTALLDIR="C:\\Program Files\\Norv\\latest\\x").code == 1603
    assert RESERVED in machine.log()


@pytest.mark.usefixtures("display")
@pytest.mark.parametrize("ui", ["/qn", "/qb"])
def test_a_bad_argument_ends_a_silent_install_without_a_box(machine, install, ui):
    assert install(ui=ui, MSICMDLINE="NOSUCHKEY=1").code == 1603
    assert "arg NOSUCHKEY=1 is not supported" in machine.log()


@pytest.mark.usefixtures("display")
def test_a_quote_that_is_not_closed_keeps_a_silent_install_silent(machine, builder):
    package = builder.package(actions=["MSILoadMsiPropertiesFromConfig"],
                              more='<Property Id="MSICMDLINE" Value="&quot;NOSUCHKEY=1"/>')
    assert machine.install(package).code == 1603
    assert "arg NOSUCHKEY=1 is not supported" in machine.log()


@pytest.mark.usefixtures("display")
def test_the_configuration_is_loaded_once_with_a_user_interface(machine, install):
    assert install(ui="/qf", INSTALLDIR="C:\\chosen").code == 0
    assert machine.log().count("Entering MSILoadMsiPropertiesFromConfig") == 1
    assert "arg" not in [line.split()[1] for line in machine.log().splitlines() if "ERROR:" in line]


def test_properties_of_the_command_line_reach_the_configuration(machine, install):
    machine.write("C:\\a b\\i.cfg", b"INSTALLDIR=C:\\from file\nREMOVEOLDERQVRS=0\n")
    finished = install(INSTALLCFG="C:\\a b\\i.cfg", REMOVEOLDERQVRS="1")
    assert finished.code == 0
    assert files(machine, "C:\\from file") == {"NOTICE", "CHANGELOG.md"}
    assert "Setting PROPERTY REMOVEOLDERQVRS to 1" in machine.log()


def test_the_arguments_of_msicmdline_win_over_properties(machine, install):
    assert install(REMOVEOLDERQVRS="1", MSICMDLINE="REMOVEOLDERQVRS=0 INSTALLDIR=C:\\chosen").code == 0
    assert "Setting PROPERTY REMOVEOLDERQVRS to 0" in machine.log()
    assert files(machine, "C:\\chosen") == {"NOTICE", "CHANGELOG.md"}


def test_nostartmenu_of_the_command_line_reaches_the_update(machine, builder, bits):
    package = builder.product(legacy_qvr(bits=bits, files={"bin\\norvcpl.exe": None}), UPDATE)
    assert machine.install(package, NOSTARTMENU="1").code == 0
    assert not machine.path("C:\\ProgramData\\Microsoft\\Windows\\Start Menu\\Programs\\Norv").exists()


def test_an_update_at_the_removal_serves_the_product_that_stays(machine, builder, bits):
    stays, goes = legacy_qvr(update=441, bits=bits), legacy_qvr(update=451, bits=bits)
    assert machine.install(builder.product(stays, UPDATE)).code == 0
    assert machine.install(builder.product(goes, UPDATE)).code == 0
    assert machine.remove(goes.product_code, NORVCA_STAYS=stays.product_code).code == 0
    assert machine.registry_value(f"HKLM\\{stays.family_key}\\1.8", "NorvHome", bits).endswith("QVR-1.8.0_441")


def test_a_repair_serves_the_product_that_stays(machine, builder, bits):
    stays, goes = legacy_qvr(update=441, bits=bits), legacy_qvr(update=451, bits=bits)
    assert machine.install(builder.product(stays, UPDATE)).code == 0
    assert machine.install(builder.product(goes, UPDATE)).code == 0
    assert machine.remove(goes.product_code).code == 0
    assert machine.msiexec("/i", stays.product_code, "REINSTALL=ALL").code == 0
    assert machine.registry_value(f"HKLM\\{stays.family_key}\\1.8", "NorvHome", bits).endswith("QVR-1.8.0_441")


def test_a_removal_goes_on_when_the_product_that_stays_is_unknown(machine, builder, bits):
    goes = legacy_qvr(bits=bits)
    assert machine.install(builder.product(goes, UPDATE)).code == 0
    assert machine.remove(goes.product_code, NORVCA_STAYS="{26A24AE4-039D-4CA4-87B4-2F64180441F0}").code == 0
    assert "No matching Norv found for {26A24AE4-039D-4CA4-87B4-2F64180441F0}" in machine.log()


def test_a_major_upgrade_replaces_the_product_and_updates_once(machine, builder, bits):
    code = "{0B7F2E57-4E1E-4C55-9E2B-65C0B7B1D0AC}"
    old, new = legacy_qvr(update=441, bits=bits), legacy_qvr(update=451, bits=bits)
    old.upgrade_code = new.upgrade_code = code
    assert machine.install(builder.product(old, UPDATE)).code == 0
    package = builder.product(
        new, UPDATE, actions=["MSIValidateInstallDir"], version="1.0.1",
        more=f'<Upgrade Id="{code}"><UpgradeVersion Property="OLDERVERSIONS" Minimum="0.0.0" IncludeMinimum="yes" '
             'Maximum="1.0.1" IncludeMaximum="no"/></Upgrade><InstallExecuteSequence>'
             '<RemoveExistingProducts Sequence="1501"/></InstallExecuteSequence>')
    machine.clear_log()
    assert machine.install(package).code == 0
    assert machine.log().count("Entering SetLatestQvr") == 1
    assert f"productCode={old.product_code}" not in machine.log()
    assert machine.registry_value(f"HKLM\\{new.family_key}\\1.8", "NorvHome", bits).endswith("QVR-1.8.0_451")


def test_a_package_that_was_not_finished_is_not_installed(machine, builder):
    package = builder.package(actions=["SetLatestQvr"], finished=False)
    finished = machine.install(package)
    assert finished.code == 1603
    assert machine.log() == ""


def test_a_product_without_its_version_is_not_found(machine, builder, bits):
    kit = zentra("QVK", "21.0.13+4", bits)
    kit.full_version = None
    assert machine.install(builder.product(kit)).code == 0
    assert machine.install(builder.package(update=f"ProductCode={kit.product_code}")).code == 1603
    assert f"No matching Norv found for {kit.product_code} Product Code" in machine.log()


@pytest.mark.parametrize("of_its_version", [True, False])
def test_shims_come_from_the_library_of_the_products_version(machine, builder, tools, bits, of_its_version):
    """A junction can't be made under Wine; the directory of the shims, made before it, shows the decision."""
    if bits == 32:
        pytest.skip("shims are those of 64-bit kits")
    library = tools / "other_version.dll" if of_its_version else None
    product = zentra("QVK", "21.0.13+4")
    assert machine.install(builder.product(product)).code == 0
    for name in ("norv.exe", "norvw.exe"):
        machine.write(STAGING + name, b"shim")
    update = builder.package(update=f"ProductCode={product.product_code}", library=library)
    assert machine.install(update).code == 0
    made = {path.name for path in machine.drive_c.glob(f"{TARGETS}/norvpath_target_*/*")}
    assert made == ({"norv.exe", "norvw.exe", "norvc.exe", "zemble.exe"} if of_its_version else set())
    assert ("setup shims" in machine.log()) == of_its_version
