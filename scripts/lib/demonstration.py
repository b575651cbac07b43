"""Installs sample products with the library and shows what became of the machine.

usage: demonstration.py <norvca.dll> <directory of the built tools>
"""

import shutil
import sys
import tempfile
from pathlib import Path

from lab.packages import UPDATE, Builder
from lab.prefix import Prefix
from lab.products import legacy_qvr, qvk17, qvk21

HALVOREX = "Software\\Halvorex"
CLASSES = "Software\\Classes"


def title(text):
    print(f"\n== {text}")


def show_key(registry, path):
    key = registry.key(path)
    if key is None:
        print(f"  {path}   (missing)")
        return
    print(f"  {path.split(chr(92))[0]}\\{key.path}")
    for name, value in sorted(key.values.items()):
        print(f"      {key.names[name] or '(default)'} = {value}")


def show_tree(registry, path):
    if registry.key(path) is not None:
        show_key(registry, path)
    for name in registry.subkeys(path):
        show_tree(registry, f"{path}\\{name}")


def install(prefix, package, what):
    finished = prefix.install(package)
    print(f"  msiexec /i  {what}: exit code {finished.code}")
    if finished.code != 0:
        print(finished.output[-4000:])
        raise SystemExit(f"{what} could not be installed")


def show_start_menu(prefix, tools):
    title("Start menu, for all users")
    programs = prefix.path("C:\\ProgramData\\Microsoft\\Windows\\Start Menu\\Programs")
    links = sorted(programs.rglob("*.lnk")) if programs.is_dir() else []
    if not links:
        print("  (empty)")
        return
    print(prefix.run(tools / "readlink.exe", *[prefix.windows_path(link) for link in links])
          .output.replace("\t", "\n      "))


def show_machine(prefix, tools):
    registry = prefix.registry()
    title("Family keys and their CurrentVersion")
    show_tree(registry, f"HKLM\\{HALVOREX}")
    title("File associations")
    for extension, identifier in ((".vkr", "vkrfile"), (".zpm", "zpmfile")):
        show_key(registry, f"HKLM\\{CLASSES}\\{extension}")
        show_key(registry, f"HKLM\\{CLASSES}\\{identifier}")
        show_key(registry, f"HKLM\\{CLASSES}\\{identifier}\\shell\\open\\command")
    title("Host applications")
    for executable in ("norv.exe", "norvw.exe"):
        show_key(registry, f"HKLM\\{CLASSES}\\Applications\\{executable}")
    title("Path of the machine")
    print("  " + str(registry.value(
        "HKLM\\System\\CurrentControlSet\\Control\\Session Manager\\Environment", "Path")))
    title("Accessibility entry")
    show_key(registry, "HKLM\\Software\\Microsoft\\Windows NT\\CurrentVersion\\Accessibility\\ATs\\"
                       "Dovrin_NorvAssistLink")
    show_start_menu(prefix, tools)
    title(f"Log: {prefix.log_path().name}")
    print(prefix.log())
    return registry


def check(registry):
    """What must hold after the installs; the names of what doesn't."""
    expected = {
        f"{HALVOREX}\\Norv Runtime Environment|CurrentVersion": "1.8",
        f"{HALVOREX}\\Norv Runtime Environment\\1.8|MicroVersion": "0",
        f"{HALVOREX}\\QVK|CurrentVersion": "21.0.12.1",
        f"{CLASSES}\\vkrfile|": "Executable Vkr File",
        f"{CLASSES}\\zpmfile|": "Norv Zepmark File",
        f"{CLASSES}\\Applications\\norv.exe|IsHostApp": "",
        f"{CLASSES}\\Applications\\norvw.exe|IsHostApp": "",
    }
    return [f"HKLM\\{place}: {registry.value('HKLM' + chr(92) + place.split('|')[0], place.split('|')[1])!r}"
            f" instead of {value!r}"
            for place, value in expected.items()
            if registry.value("HKLM\\" + place.split("|")[0], place.split("|")[1]) != value]


def main():
    library, tools = Path(sys.argv[1]).resolve(), Path(sys.argv[2]).resolve()
    work = Path(tempfile.mkdtemp(prefix="norvca-"))
    builder = Builder(work / "packages", library, tools / "tool.exe")
    tool = tools / "tool.exe"
    print("making a Wine prefix")
    prefix = Prefix(work / "prefix", tools)
    try:
        title("Installing")
        runtime = legacy_qvr(files={"bin\\norvcpl.exe": tool})
        kits = [qvk17(files={"bin\\wmq.exe": tool}), qvk21(files={"bin\\wmq.exe": tool})]
        install(prefix, builder.product(runtime, UPDATE), "QVR 1.8.0_451 with its own update")
        for kit in kits:
            install(prefix, builder.product(kit), f"QVK {kit.full_version}")
            install(prefix, builder.updater(f"ProductCode={kit.product_code}"),
                    f"update for {kit.product_code}")
        wrong = check(show_machine(prefix, tools))
        title("Outcome")
        for line in wrong:
            print(f"  {line}")
        print("  the machine is as it should be" if not wrong else "  the machine is NOT as it should be")
        return 1 if wrong else 0
    finally:
        prefix.close()
        shutil.rmtree(work, ignore_errors=True)


if __name__ == "__main__":
    sys.exit(main())
