"""Descriptions of machines: making them, running actions on them, and comparing them fact by fact."""

import json
import re
import subprocess


def describe(prefix, program, path, *options):
    """Writes the description of a prefix's machine to a file of this machine, and gives it."""
    finished = prefix.run(program, prefix.windows_path(path), *options)
    assert finished.code == 0, finished
    return json.loads(path.read_text(encoding="utf-8"))


def dry_run(program, description, after, *arguments):
    """What the dry run says of an action on the machine described in a file, and the machine after it."""
    finished = subprocess.run([program, description, *arguments, "--json", "--after", after],
                              capture_output=True, text=True, check=False)
    assert finished.returncode in (0, 1), finished.stderr
    return json.loads(finished.stdout), json.loads(after.read_text(encoding="utf-8"))


def facts(description):
    """One fact for each key, value, file and property of a file, product and move. Names have no case."""
    found = {"products": [product["code"].casefold() for product in description.get("products", [])]}
    for part in ("registry", "files"):
        for name, values in description.get(part, {}).items():
            name = _without_clock(name.casefold())
            found[name] = ""
            for value, data in values.items():
                found[f"{name} [{value.casefold()}]"] = _without_clock(data) if isinstance(data, str) else data
    for product in description.get("products", []):
        found |= {f"product {product['code'].casefold()} {name}": data for name, data in product.items()}
    return found | {f"at restart {move['from'].casefold()}": move.get("to") for move in description.get("atRestart", [])}


def _without_clock(text):
    """The clock is in the names of shim targets and temporary files."""
    return re.sub(r"(norvpath_target_|\\)\d{4,}(?=\\|\.tmp|$)", r"\1#", text)


def without_web_shortcuts(description):
    """Wine's internet shortcut is no shell link, so the library can't save it there."""
    files = description.get("files", {})
    for path in [p for p in files if p.endswith(".url")]:
        del files[path]
        folder = path[:path.rindex("\\") + 1]
        if not any(other.startswith(folder) for other in files):
            files[folder] = {}
    return description


def changes(before, after):
    """The facts that differ: name -> (sign, old value, new value), signs as the dry run has them."""
    return {name: ("-" if name not in after else "+" if name not in before else "~", before.get(name), after.get(name))
            for name in sorted({*before, *after})
            if (name in before) != (name in after) or before.get(name) != after.get(name)}
