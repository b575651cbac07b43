"""What a story of this tier has in hand."""

import pytest

from lab.descriptions import changes, describe, dry_run, facts, without_web_shortcuts

COUNTS = {"stories": 0, "facts": 0}


class Foreteller:
    """Describes the machine, runs an action on it, and holds the outcome to what the dry run says."""

    def __init__(self, machine, builder, session, tools, program, work):
        self.machine, self.builder, self.session = machine, builder, session
        self.describe_program, self.dry_run_program, self.work = tools.parents[1] / "describe.exe", program, work

    def describe(self, name, *options):
        return describe(self.machine, self.describe_program, self.work / f"{name}.json", *options)

    def dry_run(self, *arguments):
        return dry_run(self.dry_run_program, self.work / "before.json", self.work / "foretold.json", *arguments)

    def run(self, action, properties, package):
        """The action's status and the session's properties, in the real installer."""
        if action == "SetLatestQvr":
            finished = self.machine.install(self.builder.updater(properties["CustomActionData"]))
            assert finished.code in (0, 1603), finished
            return 1627 if finished.code else 0, properties
        asked = {*properties, "REMOVEOLDERQVRS", "INSTALLDIR", "IMPERSONATE", "DIRECTORYOCCUPIED",
                 "RESERVEDDIRECTORY", "DisableVomlitExe", "AUVERSIONSINSTALLED"}
        lines = self.session(*[f"set={n}={v}" for n, v in properties.items()], f"call={action}",
                             *[f"get={n}" for n in asked], **({"package": package} if package else {}))
        values = dict(line[4:].split(": ", 1) for line in lines[1:])
        return int(lines[0].rsplit(" ", 1)[1]), values

    def hold(self, action, properties, package=None, describe=(), fail=None):
        """Fails for each fact that was foretold otherwise than it came; gives the real properties."""
        if package:
            describe = (*describe, "--package", self.machine.windows_path(package))
        description = self.describe("before", *describe)
        assert "unread" not in description
        _, again = self.dry_run("MSIIsLocalSystemSupported")
        assert changes(facts(description), facts(again)) == {}, "the description doesn't come back"

        outcome, foretold = self.dry_run(action, *[f"{n}={v}" for n, v in properties.items()],
                                         *(["--fail", fail] if fail else []))
        status, real = self.run(action, properties, package)
        done = facts(self.describe("after", *describe)) | {"status": status}
        expected = facts(without_web_shortcuts(foretold)) | {"status": outcome["status"]}
        told = {c["what"]: c["after"] for c in outcome["changes"] if c["group"] == "Properties"}
        for name, value in real.items():
            done |= facts({"registry": {"property": {name: value}}})
            expected |= facts({"registry": {"property": {name: told.get(name, properties.get(name, ""))}}})
        COUNTS["stories"] += 1
        COUNTS["facts"] += len(expected)
        wrong = [f"{name}: foretold {foretold!r}, done {came!r}"
                 for name, (_, foretold, came) in changes(expected, done).items()]
        assert not wrong, "\n".join([*wrong, "the dry run's log:", outcome["log"], "the real log:",
                                     self.machine.log()])
        return real


@pytest.fixture
def foreteller(machine, builder, session, tools, pytestconfig, tmp_path):
    return Foreteller(machine, builder, session, tools, pytestconfig.getoption("dry_run"), tmp_path)


def pytest_terminal_summary(terminalreporter):
    terminalreporter.write_line(f"{COUNTS['stories']} stories foretold, {COUNTS['facts']} facts compared")
