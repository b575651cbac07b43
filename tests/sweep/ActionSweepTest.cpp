// Runs each action with each of its platform calls failing in turn, and with the process stopped at
// each. A failure must leak nothing and end in a status that the action may return. After either,
// an undisturbed run must bring the machine into the state of one that was never disturbed.
//
// The action runs once; at each call a copy of the process goes on with the fault. So a fault costs
// the rest of the run, and one that crashes or hangs ends a copy alone.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <iterator>
#include <map>
#include <regex>
#include <set>

#include "simulated/machine/Wide.h"
#include "support/LibraryProcess.h"
#include "sweep/ProcessCopy.h"
#include "sweep/SweptAction.h"

// Of the address sanitizer; missing in a build without it.
extern "C" [[gnu::weak]] std::size_t __sanitizer_get_current_allocated_bytes();
extern "C" [[gnu::weak]] int __lsan_do_recoverable_leak_check();

namespace {

using simulated::Calls;
using simulated::Machine;
using namespace sweep;

/// What a machine's description says, sorted.
using Facts = std::vector<std::string>;

/// A handle that could not be closed stays open: the library has not leaked it.
const std::set<std::string> kClosers = {
    "CloseHandle", "RegCloseKey",     "FindClose", "MsiCloseHandle", "MsiViewClose",
    "FreeLibrary", "UnmapViewOfFile", "LocalFree", "_close",         "fclose"};

/// Functions whose fault may leave half of a file's content.
const std::set<std::string> kCopiers = {"CopyFileW", "MoveFileExW"};

bool contains(const std::vector<std::size_t>& numbers, std::size_t number) {
    return std::find(numbers.begin(), numbers.end(), number) != numbers.end();
}

void addNew(std::vector<std::size_t>& numbers, std::size_t number) {
    if (!contains(numbers, number)) {
        numbers.push_back(number);
    }
}

/// More than the states in which the calls of any action leave a machine.
constexpr std::size_t kMaxStates = 20000;

std::size_t bytesOnHeap() {
    return __sanitizer_get_current_allocated_bytes == nullptr
               ? 0
               : __sanitizer_get_current_allocated_bytes();
}

/// Writes memory that nothing points to on standard error.
bool hasLeaks() {
    return __lsan_do_recoverable_leak_check != nullptr && __lsan_do_recoverable_leak_check() != 0;
}

/// Replaces clock ticks in the names of files, which differ from run to run, by "#".
std::string withoutTicks(const std::string& fact) {
    static const std::regex ticks(R"((norvpath_target_|\\)[0-9]{5,}(?=\.tmp|\b))");
    const bool mayHold = fact.find("norvpath_target_") != std::string::npos ||
                         fact.find(".tmp") != std::string::npos;
    return mayHold ? std::regex_replace(fact, ticks, "$1#") : fact;
}

Facts describe(const Machine& machine, const Facts& more = {}) {
    Facts facts = more;
    for (const std::string& fact : machine.describe()) {
        facts.push_back(withoutTicks(fact));
    }
    std::sort(facts.begin(), facts.end());
    return facts;
}

/// Returns a number that stands for the facts.
std::size_t hashOf(const Facts& facts) {
    std::string all;
    for (const std::string& fact : facts) {
        all += fact + "\n";
    }
    return std::hash<std::string>()(all);
}

/// Returns a line for each fact that only one of the two has: "- " for a missing one, "+ " for a
/// new one.
std::vector<std::string> differences(const Facts& wanted, const Facts& found) {
    Facts missing, added;
    std::set_difference(wanted.begin(), wanted.end(), found.begin(), found.end(),
                        std::back_inserter(missing));
    std::set_difference(found.begin(), found.end(), wanted.begin(), wanted.end(),
                        std::back_inserter(added));
    std::vector<std::string> lines;
    for (const std::string& fact : missing) {
        lines.push_back("- " + fact);
    }
    for (const std::string& fact : added) {
        lines.push_back("+ " + fact);
    }
    return lines;
}

bool isExpected(const std::string& difference, const ExpectedDifferences& expected) {
    return std::any_of(expected.begin(), expected.end(),
                       [&](const auto& one) { return std::regex_match(difference, one.pattern); });
}

MSIHANDLE openSession(const SweptAction& action, Machine& machine) {
    auto& installer = machine.installer;
    const auto data = action.properties.find(u"CustomActionData");
    const MSIHANDLE session = data == action.properties.end()
                                  ? installer.openSession(action.properties)
                                  : installer.openDeferredSession(data->second);
    installer.session(session)
        .database.table(u"Upgrade", {u"UpgradeCode", u"ActionProperty"})
        .row({u"{0B7F2E57-4E1E-4C55-9E2B-65C0B7B1D0AA}", u"OLDQVRS"});
    return session;
}

struct Outcome {
    UINT status = 0;
    std::vector<std::string> leftOpen;  ///< handles and objects, when the action had returned
    Facts properties;                   ///< of the session, when the action had returned
};

/// Runs the action in a process of its own, which makes the library's calls at load and at unload,
/// too.
Outcome run(const SweptAction& action, Machine& machine, Calls::Observer observer = nullptr) {
    const MSIHANDLE session = openSession(action, machine);
    machine.calls.observe(std::move(observer));
    Outcome outcome;
    {
        LibraryProcess process(machine);
        outcome.status = process.call(action.name.c_str(), session);
        outcome.leftOpen = machine.handles.open();
        for (const auto& more : {machine.installer.openHandles(), machine.shell.openObjects()}) {
            outcome.leftOpen.insert(outcome.leftOpen.end(), more.begin(), more.end());
        }
        for (const auto& [name, value] : machine.installer.session(session).properties) {
            outcome.properties.push_back(withoutTicks("property " + simulated::toUtf8(name) + "=" +
                                                      simulated::toUtf8(value)));
        }
    }
    machine.calls.observe(nullptr);
    return outcome;
}

/// Sweeps the calls of one action with failures, or with stops of the process.
class Sweep {
public:
    Sweep(const SweptAction& action, bool stops);

    /// Returns one line for each rule that a disturbed run broke.
    std::vector<std::string> findFaults();

    int calls() const { return calls_; }

private:
    void runUndisturbed();
    Outcome runWithCopies();
    void beforeCall(const std::string& function);
    bool isInCopy() const { return !disturbedFunction_.empty(); }
    void disturbInCopy(const std::string& function, bool halvesCopy);
    void takeIn(const std::string& fault, const ProcessCopy::Result& result);

    [[noreturn]] void finishCopy(Outcome outcome);
    std::size_t checkCopy(const Outcome outcome);
    void checkOutcome(const Outcome& outcome);
    void checkOthersKept(const Facts& after);
    void checkNextRun();

    void complain(const std::string& complaint) { complaints_.push_back(complaint); }

    const SweptAction& action_;
    const bool stops_;
    std::unique_ptr<Machine> machine_;
    Facts before_;  ///< the machine as it was
    Facts wanted_;  ///< after an undisturbed run, with the properties of the session
    std::size_t heapBefore_ = 0;
    std::vector<std::string> complaints_;
    int calls_ = 0;
    /// The states in which disturbed runs have left the machine, as hashes. From each of them one
    /// undisturbed run is checked.
    std::vector<std::size_t> knownStates_;
    /// By how many bytes the heap grew in runs that leaked nothing: what the loader and the
    /// run-time libraries keep.
    std::vector<std::size_t> leaklessGrowths_;
    ProcessCopy copy_;
    std::string disturbedFunction_;  ///< in a copy
};

Sweep::Sweep(const SweptAction& action, bool stops) : action_(action), stops_(stops) {
    // These do not grow while the action runs, so that the heap grows by what the action keeps.
    knownStates_.reserve(kMaxStates);
    leaklessGrowths_.reserve(kMaxStates);
}

std::vector<std::string> Sweep::findFaults() {
    runUndisturbed();
    heapBefore_ = bytesOnHeap();
    Outcome outcome = runWithCopies();
    if (isInCopy()) {
        finishCopy(std::move(outcome));
    }
    return complaints_;
}

void Sweep::runUndisturbed() {
    machine_ = makeMachine(action_);
    before_ = describe(*machine_);
    const Outcome outcome = run(action_, *machine_);
    EXPECT_EQ(outcome.status, 0u);
    EXPECT_EQ(outcome.leftOpen, std::vector<std::string>());
    wanted_ = describe(*machine_, outcome.properties);
    checkOthersKept(describe(*machine_));
    machine_.reset();
}

Outcome Sweep::runWithCopies() {
    machine_ = makeMachine(action_);
    return run(action_, *machine_, [this](const std::string& function) { beforeCall(function); });
}

void Sweep::beforeCall(const std::string& function) {
    if (isInCopy()) {
        return;
    }
    ++calls_;
    disturbInCopy(function, false);
    if (!isInCopy() && kCopiers.count(function) != 0) {
        disturbInCopy(function, true);
    }
}

/// Makes a copy in which the call that is about to be made is disturbed, and takes in its report.
void Sweep::disturbInCopy(const std::string& function, bool halvesCopy) {
    if (const auto result = copy_.start()) {
        takeIn((stops_ ? "stopped at call " : "failed call ") + std::to_string(calls_) + ", " +
                   function + (halvesCopy ? ", halfway" : ""),
               *result);
        return;
    }
    disturbedFunction_ = function;
    machine_->volumes.nextFaultHalvesCopy = halvesCopy;
    if (stops_) {
        machine_->calls.stopAtCall(1);
    } else {
        machine_->calls.failCall(1);
    }
}

/// The first lines of a report are the state in which the run left the machine and the growth of
/// the heap, the others are complaints.
void Sweep::takeIn(const std::string& fault, const ProcessCopy::Result& result) {
    if (!result.failure.empty()) {
        complain(fault + ": " + result.failure);
        return;
    }
    addNew(knownStates_, std::stoull(result.report[0]));
    if (result.report.size() == 2) {
        addNew(leaklessGrowths_, std::stoull(result.report[1]));
    }
    for (std::size_t i = 2; i < result.report.size(); ++i) {
        complain(fault + ": " + result.report[i]);
    }
}

void Sweep::finishCopy(Outcome outcome) {
    complaints_ = {};
    const std::size_t state = checkCopy(std::move(outcome));
    machine_.reset();
    std::string().swap(disturbedFunction_);
    const std::size_t growth = bytesOnHeap() - heapBefore_;
    // Looking for leaks takes longer than a run.
    if (!contains(leaklessGrowths_, growth) && hasLeaks()) {
        complain("leaked memory, as reported above");
    }
    if (testing::Test::HasFailure()) {
        complain("the library could not be loaded");
    }
    std::vector<std::string> report = {std::to_string(state), std::to_string(growth)};
    report.insert(report.end(), complaints_.begin(), complaints_.end());
    copy_.finish(report);
}

/// Returns the state in which the run left the machine.
std::size_t Sweep::checkCopy(const Outcome outcome) {
    checkOutcome(outcome);
    const Facts after = describe(*machine_);
    const std::size_t state = hashOf(after);
    // From a state that is known the next run ends as the one before did.
    if (!contains(knownStates_, state)) {
        checkOthersKept(after);
        checkNextRun();
    }
    return state;
}

void Sweep::checkOutcome(const Outcome& outcome) {
    if (stops_) {
        return;
    }
    if (action_.statuses.count(outcome.status) == 0) {
        complain("status " + std::to_string(outcome.status) + ", which is none of the action's");
    }
    if (kClosers.count(disturbedFunction_) == 0) {
        for (const std::string& open : outcome.leftOpen) {
            complain("left open: " + open);
        }
    }
}

/// Complains of each file that was deleted and is not the action's own.
void Sweep::checkOthersKept(const Facts& after) {
    static const std::regex deletedFile("^- (file|directory) ");
    for (const std::string& difference : differences(before_, after)) {
        if (std::regex_search(difference, deletedFile) &&
            !std::regex_search(difference, action_.ownFiles)) {
            complain("not to be touched: " + difference);
        }
    }
}

void Sweep::checkNextRun() {
    machine_->facts.clock.advance(60000);
    const Outcome next = run(action_, *machine_);
    if (action_.nextStatuses.count(next.status) == 0) {
        complain("the next run's status " + std::to_string(next.status));
    }
    for (const std::string& difference :
         differences(wanted_, describe(*machine_, next.properties))) {
        if (!isExpected(difference, action_.expected) &&
            (stops_ || !isExpected(difference, action_.expectedAfterFailure))) {
            complain("after the next run: " + difference);
        }
    }
}

/// The action, and whether the process is stopped at a call instead of the call failing.
class ActionSweep : public testing::TestWithParam<std::tuple<std::size_t, bool>> {};

TEST_P(ActionSweep, LeavesTheMachineInOrder) {
    const auto [index, stops] = GetParam();
    const SweptAction& action = sweptActions()[index];
    Sweep sweep(action, stops);
    for (const std::string& fault : sweep.findFaults()) {
        ADD_FAILURE() << action.name << " " << fault;
    }
    std::printf("swept %d calls of %s\n", sweep.calls(), action.name.c_str());
}

INSTANTIATE_TEST_SUITE_P(Actions, ActionSweep,
                         testing::Combine(testing::Range(std::size_t(0), sweptActions().size()),
                                          testing::Bool()),
                         [](const auto& part) {
                             return sweptActions()[std::get<0>(part.param)].name +
                                    (std::get<1>(part.param) ? "_stop" : "_failure");
                         });

}  // namespace
