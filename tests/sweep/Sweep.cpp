#include "sweep/Sweep.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <regex>

#include "simulated/machine/Wide.h"
#include "support/LibraryProcess.h"

namespace {

/// A handle whose closing fails is still open: that is no leak of the library's.
const std::set<std::string> kClosers = {
    "CloseHandle", "RegCloseKey",     "FindClose", "MsiCloseHandle", "MsiViewClose",
    "FreeLibrary", "UnmapViewOfFile", "LocalFree", "_close",         "fclose"};

/// Functions that a fault may end in the middle of a file's content.
const std::set<std::string> kCopiers = {"CopyFileW", "MoveFileExW"};

/// What differs from run to run by nature: ticks in the names of files.
std::string withoutTicks(const std::string& fact) {
    static const std::regex ticks(R"((norvpath_target_|\\)[0-9]{5,}(?=\.tmp|\b))");
    const bool mayHold = fact.find("norvpath_target_") != std::string::npos ||
                         fact.find(".tmp") != std::string::npos;
    return mayHold ? std::regex_replace(fact, ticks, "$1#") : fact;
}

std::vector<std::string> describe(const simulated::Machine& machine) {
    std::vector<std::string> facts;
    for (const std::string& fact : machine.describe()) {
        facts.push_back(withoutTicks(fact));
    }
    std::sort(facts.begin(), facts.end());
    return facts;
}

std::vector<std::string> differences(const std::vector<std::string>& wanted,
                                     const std::vector<std::string>& found) {
    std::vector<std::string> missing;
    std::vector<std::string> added;
    std::set_difference(wanted.begin(), wanted.end(), found.begin(), found.end(),
                        std::back_inserter(missing));
    std::set_difference(found.begin(), found.end(), wanted.begin(), wanted.end(),
                        std::back_inserter(added));
    std::vector<std::string> lines;
    std::transform(missing.begin(), missing.end(), std::back_inserter(lines),
                   [](const std::string& fact) { return "- " + fact; });
    std::transform(added.begin(), added.end(), std::back_inserter(lines),
                   [](const std::string& fact) { return "+ " + fact; });
    return lines;
}

std::vector<std::string> leaks(const simulated::Machine& machine) {
    std::vector<std::string> open = machine.handles.open();
    for (const auto& more : {machine.installer.openHandles(), machine.shell.openObjects()}) {
        open.insert(open.end(), more.begin(), more.end());
    }
    return open;
}

struct Outcome {
    UINT status;
    std::vector<std::string> leaks;
    std::string disturbed;                ///< the function whose call was
    std::vector<std::string> properties;  ///< of the session, afterwards
};

Outcome run(const SweptAction& swept, simulated::Machine& machine,
            const std::function<void()>& disturb) {
    const MSIHANDLE session = swept.openSession(machine);
    disturb();
    LibraryProcess process(machine);
    Outcome outcome;
    outcome.status = process.call(swept.action, session);
    outcome.leaks = leaks(machine);
    outcome.disturbed = machine.calls.faultedFunction();
    for (const auto& [name, value] : machine.installer.session(session).properties) {
        outcome.properties.push_back("property " + simulated::toUtf8(name) + "=" +
                                     simulated::toUtf8(value));
    }
    return outcome;
}

/// Collects complaints, so that one fault of the library doesn't fill the screen.
class Complaints {
public:
    void add(std::uint64_t n, const std::string& function, const std::string& complaint) {
        if (++count_ <= kShown) {
            ADD_FAILURE() << "call " << n << " (" << function << "): " << complaint;
        }
    }
    ~Complaints() {
        if (count_ > kShown) {
            ADD_FAILURE() << "and " << count_ - kShown << " more";
        }
    }

private:
    static constexpr int kShown = 12;
    int count_ = 0;
};

bool isExpected(const std::string& difference, const std::vector<ExpectedDifference>& expected) {
    return std::any_of(expected.begin(), expected.end(), [&](const auto& one) {
        return std::regex_match(difference, std::regex(one.pattern));
    });
}

/// What is left of a machine, and of the session of its last run.
std::vector<std::string> leftOf(const simulated::Machine& machine, const Outcome& last) {
    std::vector<std::string> facts = describe(machine);
    for (const std::string& property : last.properties) {
        facts.push_back(withoutTicks(property));
    }
    std::sort(facts.begin(), facts.end());
    return facts;
}

/// Complains of each file that is gone and that the action had no business with.
void expectOthersKept(const SweptAction& swept, std::uint64_t n, const std::string& function,
                      const std::vector<std::string>& before, const std::vector<std::string>& after,
                      Complaints& complaints) {
    for (const std::string& difference : differences(before, after)) {
        const bool isFile =
            difference.rfind("- file ", 0) == 0 || difference.rfind("- directory ", 0) == 0;
        if (isFile && !std::regex_search(difference, std::regex(swept.ownPlaces))) {
            complaints.add(n, function, "not to be touched: " + difference);
        }
    }
}

/// Whether a machine in this state has been seen before: a run on it ends as the one before did.
bool isKnown(const SweptAction& swept, const std::vector<std::string>& state) {
    static std::map<std::string, std::set<std::vector<std::string>>> known;
    return !known[swept.action].insert(state).second;
}

}  // namespace

std::uint64_t sweep(const SweptAction& swept, Disturbance disturbance, const Shard& shard) {
    const auto undisturbed = swept.makeMachine();
    const std::vector<std::string> before = describe(*undisturbed);
    undisturbed->calls.clearJournal();
    undisturbed->calls.keepOrder(true);
    const Outcome good = run(swept, *undisturbed, [] {});
    EXPECT_EQ(good.status, 0u) << "the undisturbed run";
    EXPECT_EQ(good.leaks, std::vector<std::string>());
    const std::vector<std::string>& calls = undisturbed->calls.order();
    const std::vector<std::string> wanted = leftOf(*undisturbed, good);

    Complaints complaints;
    expectOthersKept(swept, 0, "none", before, describe(*undisturbed), complaints);
    const bool stops = disturbance == Disturbance::Stop;
    const auto disturb = [&](std::uint64_t n, bool halvesCopy) {
        const auto machine = swept.makeMachine();
        const Outcome outcome = run(swept, *machine, [&] {
            machine->volumes.nextFaultHalvesCopy = halvesCopy;
            if (stops) {
                machine->calls.stopAtCall(n);
            } else {
                machine->calls.failCall(n);
            }
        });
        const std::string& function = outcome.disturbed;
        if (!stops && swept.statuses.count(outcome.status) == 0) {
            complaints.add(n, function, "status " + std::to_string(outcome.status));
        }
        if (!stops && kClosers.count(function) == 0 && !outcome.leaks.empty()) {
            complaints.add(n, function, "left open: " + outcome.leaks.front());
        }
        const std::vector<std::string> after = describe(*machine);
        if (isKnown(swept, after)) {
            return;
        }
        expectOthersKept(swept, n, function, before, after, complaints);
        machine->facts.clock.advance(60000);
        const Outcome again = run(swept, *machine, [] {});
        if (swept.nextStatuses.count(again.status) == 0) {
            complaints.add(n, function, "the next run's status " + std::to_string(again.status));
        }
        for (const std::string& difference : differences(wanted, leftOf(*machine, again))) {
            if (!isExpected(difference, swept.expected) &&
                (stops || !isExpected(difference, swept.expectedAfterFailure))) {
                complaints.add(n, function, difference);
            }
        }
    };
    std::uint64_t count = 0;
    for (std::uint64_t n = 1 + shard.index; n <= calls.size(); n += shard.of, ++count) {
        disturb(n, false);
        if (kCopiers.count(calls[n - 1]) != 0) {
            disturb(n, true);
        }
    }
    return count;
}
