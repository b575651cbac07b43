"""Fixtures of the scenarios."""

import json

import pytest

from lab.descriptions import changes, describe, dry_run, facts, without_web_shortcuts

COUNTS = {"scenarios": 0, "facts": 0}


@pytest.fixture
def run(machine, builder, session):
    """Runs an action in the real installer and gives its status and the session's properties."""
    def run(action, properties, package):
        if action == "SetLatestQvr":
            finished = machine.install(builder.package(name="Norv update", update=properties["CustomActionData"]))
            assert finished.code in (0, 1603), finished
            return 1627 if finished.code else 0, properties
        asked = {*properties, "REMOVEOLDERQVRS", "INSTALLDIR", "IMPERSONATE", "DIRECTORYOCCUPIED",
                 "RESERVEDDIRECTORY", "DisableVomlitExe", "AUVERSIONSINSTALLED"}
        called, *values = session(*[f"set={n}={v}" for n, v in properties.items()], f"call={action}",
                                  *[f"get={n}" for n in asked], **({"package": package} if package else {}))
        return int(called.rsplit(" ", 1)[1]), dict(line[4:].split(": ", 1) for line in values)
    return run


@pytest.fixture
def keep(work):
    """Leaves a machine and a call on it to the tests of the page."""
    def keep(description, action, properties):
        calls = work / "calls"
        calls.mkdir(exist_ok=True)
        call = {"machine": description, "action": action, "properties": [f"{n}={v}" for n, v in properties.items()]}
        (calls / f"{COUNTS['scenarios']:03}.json").write_text(json.dumps(call), encoding="utf-8")
    return keep


@pytest.fixture
def hold(machine, run, describe_program, dry_run_program, tmp_path, keep):
    """Describes the machine, predicts an action and runs it, and fails for each fact that differs. Returns the
    real properties."""
    def predict(*arguments):
        return dry_run(dry_run_program, tmp_path / "before.json", tmp_path / "predicted.json", *arguments)

    def hold(action, properties, package=None, describe_more=(), fail=None):
        how = [*describe_more, *(["--package", machine.windows_path(package)] if package else [])]
        description = describe(machine, describe_program, tmp_path / "before.json", *how)
        assert "unread" not in description
        keep(description, action, properties)
        _, again = predict("MSIIsLocalSystemSupported")
        assert changes(facts(description), facts(again)) == {}, "the description doesn't come back"

        outcome, predicted = predict(action, *[f"{n}={v}" for n, v in properties.items()],
                                     *(["--fail", fail] if fail else []))
        status, real = run(action, properties, package)
        told = properties | {c["what"]: c["after"] for c in outcome["changes"] if c["group"] == "Properties"}
        done = facts(describe(machine, describe_program, tmp_path / "after.json", *how)) | {"status": status}
        expected = facts(without_web_shortcuts(predicted)) | {"status": outcome["status"]}
        for name, value in real.items():
            done |= facts({"registry": {"property": {name: value}}})
            expected |= facts({"registry": {"property": {name: told.get(name, "")}}})
        COUNTS["scenarios"] += 1
        COUNTS["facts"] += len(expected)
        wrong = [f"{name}: predicted {before!r}, real {after!r}"
                 for name, (_, before, after) in changes(expected, done).items()]
        assert not wrong, "\n".join([*wrong, "the dry run's log:", outcome["log"], "the real log:", machine.log()])
        return real
    return hold


def pytest_terminal_summary(terminalreporter):
    terminalreporter.write_line(f"{COUNTS['scenarios']} scenarios predicted, {COUNTS['facts']} facts compared")
