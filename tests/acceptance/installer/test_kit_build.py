"""What a package author sees of the kit before a package is installed: the archive, the tables, refusals."""

import subprocess

import pytest

from lab.packages import REPOSITORY, zentra
from lab.tables import described_actions, placed_actions, value

ACTIONS = ["SetLatestQvr", "MSILoadMsiPropertiesFromConfig", "MSIValidateInstallDir", "checkIfInstallDirReserved",
           "checkIfReservedLocationOccupied", "MSIIsLocalSystemSupported", "MSISetImpersonate",
           "MSIRemoveFoldersOnReboot", "DisableVomlitExe", "RestoreVomlitExe", "DisableAUUninstall"]
UPGRADE = ('<Upgrade Id="{0B7F2E57-4E1E-4C55-9E2B-65C0B7B1D0AC}"><UpgradeVersion Property="OLDERVERSIONS" '
           'Minimum="0.0.0" IncludeMinimum="yes" Maximum="1.0.0"/></Upgrade>')


def test_every_file_of_the_archive_has_its_checksum(kit):
    subprocess.run(["sha256sum", "--quiet", "--strict", "-c", "SHA256SUMS"], cwd=kit, check=True)
    listed = {line.split("  ")[1] for line in (kit / "SHA256SUMS").read_text().splitlines()}
    assert listed | {"SHA256SUMS"} == {p.relative_to(kit).as_posix() for p in kit.rglob("*") if p.is_file()}


def test_the_archive_unpacks_into_a_folder_named_after_the_version(kit):
    assert (kit / "BUILD-INFO").read_text().startswith(f"version: {kit.name.removeprefix('norvca-')}\n")


def test_actions_are_placed_as_the_page_says(kit, builder):
    package = builder.package(actions=ACTIONS)
    page = (kit / "docs/package-author.md").read_text(encoding="utf-8")
    assert sorted(placed_actions(package)) == sorted(described_actions(page))


def test_secure_properties_are_the_kits_and_those_of_the_upgrade_table(builder):
    secure = value(builder.package(actions=["SetLatestQvr"], more=UPGRADE), "SecureCustomProperties").split(";")
    assert {"OLDERVERSIONS", "INSTALLDIR", "INSTALLCFG", "MSICMDLINE"} <= set(secure)
    assert not {"NORVCA_ARGUMENTS", "NORVCA_STAYS"} & set(secure)


def test_wix_gets_each_action_as_a_fragment(kit):
    text = (kit / "wix/norvca.wxs").read_text()
    assert [action for action in ACTIONS if f"<?include {action}.wxi ?>" not in text] == []


def finish(kit, package):
    finished = subprocess.run(["sh", kit / "wix/finish", package], capture_output=True, text=True, check=False)
    return finished.returncode, finished.stderr.replace(str(package), "PACKAGE")


def test_finishing_twice_changes_nothing(kit, builder):
    package = builder.package(actions=ACTIONS, more=UPGRADE)
    secure = value(package, "SecureCustomProperties")
    assert finish(kit, package) == (0, "")
    assert value(package, "SecureCustomProperties") == secure


def wixl(builder, kit, bits, *properties, includes=("SetLatestQvr",), upgrade_code):
    """Builds a package without files by wixl alone."""
    source = builder.directory / "bad.wxs"
    source.write_text(f'''<Wix xmlns="http://schemas.microsoft.com/wix/2006/wi">
        <Product Id="*" Name="Norv" Language="1033" Version="1.0.0" Manufacturer="m" UpgradeCode="{upgrade_code}">
        <Package InstallerVersion="200" Compressed="yes" InstallScope="perMachine"/>{"".join(properties)}
        {"".join(f"<?include {name}.wxi ?>" for name in includes)}</Product></Wix>''')
    package = builder.directory / "bad.msi"
    finished = subprocess.run(["wixl", "-a", "x64" if bits == 64 else "x86", "-I", kit / "wix", "-D",
                               f"NorvcaLibrary={builder.library.parent.name}/norvca.dll", "-o", package, source],
                              cwd=kit, capture_output=True, text=True, check=False)
    return finished, package


def test_an_unknown_action_is_refused_by_wixl(kit, builder, bits):
    finished, _ = wixl(builder, kit, bits, includes=["SetLatestQvrr"], upgrade_code="{0B7F2E57-4E1E-4C55-9E2B-65C0B7B1D0AC}")
    assert finished.returncode != 0
    assert "Failed to include SetLatestQvrr.wxi" in finished.stderr


def test_a_library_of_the_other_architecture_is_refused(kit, builder, bits):
    _, package = wixl(builder, kit, 96 - bits, upgrade_code="{0B7F2E57-4E1E-4C55-9E2B-65C0B7B1D0AC}")
    other = {64: "x86", 32: "x64"}[bits]
    assert finish(kit, package) == (1, f"finish: PACKAGE: the package is {other}, the library in it is not\n")


def test_a_product_without_its_version_is_refused(kit, builder, bits):
    _, package = wixl(builder, kit, bits, upgrade_code=zentra("QVK", "21.0.13", bits).upgrade_code)
    assert finish(kit, package) == (1, "finish: PACKAGE: no property FullVersion, so the update won't find the product\n")


@pytest.mark.parametrize("option, value, expected", [
    ("--product-version", "21.0.x", 'NORV_PACKAGE_VERSION is "21.0.x"; expected a version such as 21.0.13+4: up to '
                                    'six numbers and a build, the first number from 9 to 99'),
    ("--docs-address", "docs.norv.example", '--docs-address is "docs.norv.example"; expected scheme and host, such as '
                                            'http://www.norv.example, without a slash at the end'),
    ("--version", "21", "--version: unknown option; known are --product-version, --site, --site-address, --docs-address"),
])
def test_a_bad_option_of_the_kits_script_is_refused_in_one_line(option, value, expected):
    finished = subprocess.run([REPOSITORY / "scripts/kit", option, value], capture_output=True, text=True, check=False)
    assert (finished.returncode, finished.stderr) == (2, f"scripts/kit: {expected}\n")
