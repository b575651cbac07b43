"""The tables of a built package, and the table of the package author's page that describes them."""

import re
import subprocess


def rows(package, table):
    """The rows of a table as lists of texts."""
    exported = subprocess.run(["msiinfo", "export", package, table], check=True, capture_output=True, text=True).stdout
    return [line.split("\t") for line in exported.splitlines()[3:]]


def value(package, name):
    """The value of a property."""
    return dict(row[:2] for row in rows(package, "Property")).get(name)


# How the page names the bits of an action's type that make it run in one way or the other.
KINDS = {"sets a property": 0x33, "immediate": 0x1, "deferred, as the system": 0xC01}
GOES_ON = 0x40
# wixl sets this bit in each action that sets a property, where it has no meaning.
AS_THE_SYSTEM = 0x800


def placed_actions(package):
    """(sequence, action, number, kind, whether a failure ends the install, condition) of the kit's actions."""
    types = {row[0]: int(row[1]) for row in rows(package, "CustomAction")}
    names = {bits: name for name, bits in KINDS.items()}
    for sequence in ("Execute", "UI"):
        for action, condition, number in rows(package, f"Install{sequence}Sequence"):
            if action in types:
                bits = types[action] & ~GOES_ON
                if bits & 0x3F == 0x33:
                    bits &= ~AS_THE_SYSTEM
                yield sequence, action, int(number), names[bits], not types[action] & GOES_ON, condition


def described_actions(page):
    """The same as the page says it, in the table whose head begins with "number"."""
    table = page[page.index("| number |"):].split("\n\n")[0]
    for line in table.splitlines()[2:]:
        number, actions, sequences, kind, failure, condition = (cell.strip() for cell in line.strip("| ").split(" | "))
        for action in re.findall(r"`(.+?)`", actions):
            for sequence in sequences.split(", "):
                yield sequence, action, int(number), kind, failure == "ends the install", condition.strip("`")
