"""Descriptions of machines: making them, running actions on them, and comparing them fact by fact."""

import json
import re
import subprocess


HIDDEN_PROFILE = "C:\\users\\%USERNAME%"
# What a record of the log begins with: time, module and the ids of process and thread.
_RECORD = re.compile(r"^\[\d{4}/\d\d/\d\d [\d:.]+, \S+ \(PID: \d+, TID: \d+\), ", re.MULTILINE)
# Wine's internet shortcut is no shell link, so the library can't save it there.
_WEB_SHORTCUT = "Shortcut::createUrl(): IUniformResourceLocator.QueryInterface(IID_IShellLink) failed"


def describe(prefix, program, path, *options):
    """Writes the description of a prefix's machine to a file of this machine and returns it."""
    finished = prefix.run(program, prefix.windows_path(path), *options)
    assert finished.code == 0, finished
    return json.loads(path.read_text(encoding="utf-8"))


def dry_run(program, description, after, *arguments):
    """Returns what the dry run predicts of an action on the machine described in a file, and the machine after it."""
    finished = subprocess.run([program, description, *arguments, "--json", "--after", after],
                              capture_output=True, text=True, check=False)
    assert finished.returncode in (0, 1, 3), finished.stderr
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
    return found | {f"at restart {_without_clock(move['from'].casefold())}": move.get("to") for move in description.get("atRestart", [])}


def _without_clock(text):
    """The clock is in the names of shim targets, temporary files and copies beside a file in use."""
    text = re.sub(r"(WindowsAssistLink(?:-32|-64)?)\d{5,}(?=\.dll)", r"\1#", text, flags=re.IGNORECASE)
    return re.sub(r"(norvpath_target_|\\)\d{4,}(?=\\|\.tmp|[\]'* ]|$)", r"\1#", text, flags=re.MULTILINE)


def _without_others(path):
    """Path without the directories of others, which a description numbers."""
    known = ("%systemroot%", "c:\\windows")
    return ";".join(entry if not entry or entry.casefold().startswith(known) or "norv" in entry.casefold() else "#"
                    for entry in path.split(";"))


def without_machine(text, profile):
    """A text without what differs from machine to machine: the user's name and id, clock, kind of the session, and
    Windows' own words for an error."""
    text = re.sub(re.escape(profile) + r"(?=\\)", lambda _: HIDDEN_PROFILE, text, flags=re.IGNORECASE)
    text = re.sub(r"S-1-5-21-[\d-]+", "S-1-5-21-#", text)
    text = re.sub(r"CA modes=\[[01]+\]", "CA modes=[#]", text)
    text = re.sub(r"(?<=Environment\\Path\]=REG_EXPAND_SZ\[)[^\]]*", lambda found: _without_others(found[0]), text)
    text = re.sub(r"(MSI error \[\d+\])\(.*?\)", r"\1", text)
    text = re.sub(r"((?:system|COM|MSI) error (?:0x)?[0-9A-Fa-f]+) \(.*?\)(?= -|[;,.\])']| caught|$)", r"\1", text,
                  flags=re.MULTILINE)
    return _without_clock(text)


def log_records(text, profile=HIDDEN_PROFILE):
    """The records of a log without times, ids and what differs from machine to machine."""
    records = [without_machine(record.rstrip("\n"), profile)
               for record in _RECORD.split(text.replace("\r\n", "\n"))[1:]]
    return [record for record in records if _WEB_SHORTCUT not in record]


def without_web_shortcuts(description):
    """The predicted machine without the shortcuts that can't be saved in Wine."""
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
