"""Fixtures of the scenarios."""

import difflib
import json

import pytest

from lab.descriptions import HIDDEN_PROFILE, changes, describe, dry_run, facts, log_records, without_machine, without_web_shortcuts

COUNTS = {"scenarios": 0, "facts": 0}
CHANGES_NOTHING = "MSIIsLocalSystemSupported"
READ_AFTERWARDS = {"REMOVEOLDERQVRS", "INSTALLDIR", "IMPERSONATE", "DIRECTORYOCCUPIED", "RESERVEDDIRECTORY",
                   "DisableVomlitExe", "AUVERSIONSINSTALLED"}


@pytest.fixture(scope="session")
def packages(builder):
    """Builds a product's package once for the whole run."""
    built = {}

    def package(product):
        key = repr(product)
        if key not in built:
            built[key] = builder.product(product)
        return built[key]
    return package


@pytest.fixture
def install(machine, packages):
    """Installs products without running any action."""
    def run(*products):
        for product in products:
            finished = machine.install(packages(product))
            assert finished.code == 0, finished
    return run


@pytest.fixture
def run(machine, builder, session):
    """Runs an action in the real installer and returns its status and the session's properties."""
    def run(action, properties, package):
        if action == "SetLatestQvr":
            finished = machine.install(builder.package(name="Norv update", update=properties["CustomActionData"]))
            assert finished.code in (0, 1603), finished
            return 1627 if finished.code else 0, properties
        asked = {*properties, *READ_AFTERWARDS}
        called, *values = session(*[f"set={n}={v}" for n, v in properties.items()], f"call={action}",
                                  *[f"get={n}" for n in asked], **({"package": package} if package else {}))
        return int(called.rsplit(" ", 1)[1]), dict(line[4:].split(": ", 1) for line in values)
    return run


def without_user(text, machine):
    """A text with the user's directory as a description has it."""
    return text.replace(machine.profile, HIDDEN_PROFILE)


def still_there(machine, options):
    """The options of describe whose files and directories an action has left."""
    pairs = zip(options[::2], options[1::2])
    return [part for name, path in pairs if path.startswith("Z:") or machine.path(path).exists() for part in (name, path)]


def with_properties(found, values, machine):
    """Adds the session's properties to the facts of a machine."""
    return found | {f"property {name}": without_machine(value, machine.profile) for name, value in values.items()}


def difference(predicted, real):
    """The facts that differ and the records of the logs that do, in lines."""
    lines = [f"{name}: predicted {one!r}, real {other!r}"
             for name, (_, one, other) in changes(predicted["facts"], real["facts"]).items()]
    return lines + list(difflib.unified_diff(predicted["log"], real["log"], "predicted log", "real log", n=0,
                                             lineterm=""))


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
    """Describes the machine, predicts an action, runs it, and fails for each fact and each log record that differs.
    Returns the real properties.

    describe_more  options of describe
    dry_run_more   options of the dry run
    unread         what describe can't read of this machine
    """
    def predict(*arguments):
        return dry_run(dry_run_program, tmp_path / "before.json", tmp_path / "predicted.json", *arguments)

    def hold(action, properties, package=None, describe_more=(), dry_run_more=(), unread=()):
        options = [*describe_more, *(["--package", machine.windows_path(package)] if package else [])]
        description = describe(machine, describe_program, tmp_path / "before.json", *options)
        assert [part["what"] for part in description.get("unread", [])] == list(unread)
        _, again = predict(CHANGES_NOTHING)
        assert changes(facts(description), facts(again)) == {}, "the description doesn't come back"

        known = {n: without_user(v, machine) for n, v in properties.items()}
        keep(description, action, known)
        outcome, after = predict(action, *[f"{n}={v}" for n, v in known.items()], *dry_run_more)
        log_before = machine.log()
        status, real_properties = run(action, properties, package)
        set_properties = {c["what"]: c["after"] for c in outcome["changes"] if c["group"] == "Properties"}
        expected_properties = {name: (known | set_properties).get(name, "") for name in real_properties}
        real_facts = facts(describe(machine, describe_program, tmp_path / "after.json",
                                    *still_there(machine, options)))
        predicted = {"facts": with_properties(facts(without_web_shortcuts(after)), expected_properties, machine) |
                              {"status": outcome["status"]},
                     "log": log_records(outcome["log"])}
        real = {"facts": with_properties(real_facts, real_properties, machine) | {"status": status},
                "log": log_records(machine.log()[len(log_before):], machine.profile)}
        COUNTS["scenarios"] += 1
        COUNTS["facts"] += len(predicted["facts"]) + len(predicted["log"])
        wrong = difference(predicted, real)
        assert not wrong, "\n".join(wrong)
        return real_properties
    return hold


@pytest.fixture
def update(hold):
    """Predicts and runs the update for a product."""
    def run(product, more="", **options):
        hold("SetLatestQvr", {"CustomActionData": f"ProductCode={product.product_code} {more}".strip()}, **options)
    return run


def pytest_terminal_summary(terminalreporter):
    terminalreporter.write_line(f"{COUNTS['scenarios']} scenarios predicted, {COUNTS['facts']} facts compared")
