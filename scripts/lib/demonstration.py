"""Installs sample products with the library, and shows what the dry run predicted of an update and what
it then did.

usage: demonstration.py <norvca.dll> <describe.exe> <directory of the built tools> <dry run> <log> [--log]
"""

import shutil
import sys
import tempfile
import time
from pathlib import Path

from lab.descriptions import changes, describe, dry_run, facts, without_web_shortcuts
from lab.packages import UPDATE, Builder, legacy_qvr, zentra
from lab.prefix import Prefix

STARTED = time.monotonic()
WIDTH = 110


def step(text):
    print(f"[{time.monotonic() - STARTED:4.0f} s] {text}", flush=True)


def install(prefix, package, what):
    step(f"msiexec /i  {what}")
    finished = prefix.install(package)
    if finished.code != 0:
        raise SystemExit(f"{finished.output[-4000:]}\n{what} could not be installed: {finished.code}")


def short(value):
    text = " ".join(str(value).split())
    return text if len(text) <= WIDTH else text[:WIDTH - 1] + "…"


def line(change):
    if change is None:
        return "as it was"
    sign, old, new = change
    return short(f"{old} → {new}" if sign == "~" else old if sign == "-" else new)


def show(predicted, done):
    """Both differences side by side, and how many facts differ between them."""
    wrong = 0
    print("\npredicted done")
    names = sorted({*predicted, *done})
    for name, following in zip(names, [*names[1:], ""]):
        one, other = predicted.get(name), done.get(name)
        if one == other and following.startswith(f"{name} ["):
            continue  # it shows in its values
        signs = [change[0] if change else " " for change in (one, other)]
        print(f"   {signs[0]}       {signs[1]}    {short(name)}")
        if one != other:
            wrong += 1
            print(f"                 predicted: {line(one)}\n                 done:     {line(other)}")
        elif line(one):
            print(f"                 {line(one)}")
    return wrong


def main():
    library, describe_program, tools, dry_run_program, log = (Path(argument).resolve() for argument in sys.argv[1:6])
    work = Path(tempfile.mkdtemp(prefix="norvca-"))
    step("making a Wine prefix")
    builder = Builder(work / "packages", library, tools / "tool.exe")
    prefix = Prefix(work / "prefix")
    try:
        runtime = legacy_qvr(files={"bin\\norvcpl.exe": None})
        kit = zentra("QVK", "17.0.9", files={"bin\\wmq.exe": None})
        newer = zentra("QVR", "21.0.3", files=dict.fromkeys(
            f"bin\\{name}" for name in ("norvcpl.exe", "alinkswitch.exe", "WindowsAssistLink-64.dll")))
        install(prefix, builder.product(runtime, UPDATE), "QVR 1.8.0_451, which runs the update itself")
        install(prefix, builder.product(kit), "QVK 17.0.9")
        install(prefix, builder.product(newer), "QVR 21.0.3")
        step("describe.exe")
        before = describe(prefix, describe_program, work / "before.json")
        data = f"ProductCode={newer.product_code}"
        step(f"dry-run SetLatestQvr CustomActionData={data}")
        outcome, predicted = dry_run(dry_run_program, work / "before.json", work / "predicted.json", "SetLatestQvr",
                                    f"CustomActionData={data}")
        install(prefix, builder.package(name="Norv update", update=data), "a package that runs the update for QVR 21.0.3")
        step("describe.exe")
        done = describe(prefix, describe_program, work / "after.json")

        web = sum(path.endswith(".url") for path in predicted["files"])
        known = facts(before)
        wrong = show(changes(known, facts(without_web_shortcuts(predicted))), changes(known, facts(done)))
        print(f"\nstatus predicted: {outcome['status']}, done: 0. Facts that differ: {wrong}")
        print(f"left out: {web} web shortcuts, which Wine can't make")
        log.write_text(prefix.log(), encoding="utf-8")
        print(f"log of the library: {log}")
        if "--log" in sys.argv[6:]:
            print(prefix.log())
        return 1 if wrong or outcome["status"] else 0
    finally:
        prefix.close()
        shutil.rmtree(work, ignore_errors=True)


if __name__ == "__main__":
    sys.exit(main())
