"""What the built file says of itself: exports, imports, machine, version, size, symbols."""

import re
import subprocess
from pathlib import Path

import pytest

ACTIONS = {
    "MSIValidateInstallDir", "MSIIsLocalSystemSupported", "MSISetImpersonate", "MSIRemoveFoldersOnReboot",
    "MSILoadMsiPropertiesFromConfig", "SetLatestQvr", "DisableVomlitExe", "RestoreVomlitExe",
    "DisableAUUninstall", "checkIfReservedLocationOccupied", "checkIfInstallDirReserved",
}
ZIP = {
    "ZIP_Open", "ZIP_Close", "ZIP_FindEntry", "ZIP_GetNextEntry", "ZIP_ReadEntry", "ZIP_InflateFully",
    "ZIP_GZip_InitParams", "ZIP_GZip_Fully",
}
# Windows' own, on every version that the library runs on.
WINDOWS = {
    "advapi32.dll", "kernel32.dll", "msi.dll", "msvcrt.dll", "ole32.dll", "oleaut32.dll", "shell32.dll",
    "shlwapi.dll", "user32.dll", "version.dll",
}


@pytest.fixture(scope="module")
def headers(library, bits):
    tool = {64: "x86_64", 32: "i686"}[bits] + "-w64-mingw32-objdump"
    return subprocess.run([tool, "-p", library], check=True, capture_output=True, text=True).stdout


def test_exports_are_the_undecorated_names_and_no_other(headers):
    table = headers[headers.index("[Ordinal/Name Pointer] Table"):]
    names = set()
    for line in table.splitlines()[1:]:
        if "[" not in line:
            break
        names.add(line.split()[-1])
    assert names == ACTIONS | ZIP


def test_imports_come_from_windows_alone(headers):
    imported = {line.split()[-1].lower() for line in headers.splitlines() if "DLL Name:" in line}
    assert imported and imported <= WINDOWS


def test_machine_type(headers, bits):
    assert {64: "pei-x86-64", 32: "pei-i386"}[bits] in headers


def test_version_resource_says_21_0_12_1(library):
    data = library.read_bytes()
    signature = data.index(bytes.fromhex("bd04effe"))
    low_words = [int.from_bytes(data[signature + 8 + i:signature + 12 + i], "little") for i in (0, 4)]
    assert low_words == [21 << 16 | 0, 12 << 16 | 1]
    assert "21.0.12.1".encode("utf-16-le") in data


def test_it_is_small_stripped_and_its_symbols_lie_beside_it(library, headers, bits):
    assert library.stat().st_size <= {64: 540_000, 32: 610_000}[bits]
    tool = {64: "x86_64", 32: "i686"}[bits] + "-w64-mingw32-"
    symbols = subprocess.run([tool + "nm", library], capture_output=True, text=True, check=False)
    assert "no symbols" in symbols.stderr
    beside = subprocess.run([tool + "nm", f"{library}.debug"], capture_output=True, text=True, check=True)
    assert "SetLatestQvr" in beside.stdout


def test_no_path_of_the_build_machine_is_inside(library):
    data = library.read_bytes()
    root = str(Path(__file__).resolve().parents[3])
    assert root.encode() not in data and root.encode("utf-16-le") not in data
    assert root.encode() not in library.with_name("norvca.dll.debug").read_bytes()


def test_unwind_tables_cover_the_runtime_replacements(library, bits):
    """The unwinder finds what is linked after the tables' start, so the library's own functions come after it."""
    if bits == 64:
        pytest.skip("on 64 bits Windows finds the tables itself")

    def output_of(tool, *arguments):
        command = [f"i686-w64-mingw32-{tool}", *arguments]
        return subprocess.run(command, check=True, capture_output=True, text=True).stdout

    symbols = {name: int(address, 16) for address, _, name in
               (line.split() for line in output_of("nm", "--defined-only", f"{library}.debug").splitlines())}
    section = int(re.search(r"\.eh_frame +\w+ +(\w+)", output_of("objdump", "-h", library))[1], 16)
    frames = {int(pc, 16): section + int(offset, 16) for offset, pc in
              re.findall(r"^(\w{8}) .* FDE .*pc=(\w+)\.\.", output_of("objdump", "--dwarf=frames", library), re.M)}
    tables = symbols["__ZN12_GLOBAL__N_1L6tablesE"]
    for function in ("___cxa_get_globals", "___cxa_get_globals_fast", "__ZN9__gnu_cxx27__verbose_terminate_handlerEv",
                     "__ZN12_GLOBAL__N_114registerTablesEv"):
        assert frames[symbols[function]] >= tables, function
