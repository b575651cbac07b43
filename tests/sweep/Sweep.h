// Runs an action again and again on machines that are alike, each time with another platform call
// failing, or being the last of the process, and looks at what is left.
#pragma once

#include <windows.h>
#include <msi.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "simulated/machine/Machine.h"

/// A difference that a disturbed run may leave behind for good, with the rule of the library that
/// brings it about.
struct ExpectedDifference {
    std::string pattern;  ///< ECMAScript, of a whole line of the differences
    std::string reason;
};

struct SweptAction {
    const char* action;
    /// Makes a machine; always the same one.
    std::function<std::unique_ptr<simulated::Machine>()> makeMachine;
    /// Opens the session that the action is called with.
    std::function<MSIHANDLE(simulated::Machine&)> openSession;
    /// Every status that the action may end with.
    std::set<UINT> statuses;
    std::vector<ExpectedDifference> expected;
    std::vector<ExpectedDifference> expectedAfterFailure;  ///< and not after a stop
    /// ECMAScript, found in the line of each file or directory that the action may take away.
    std::string ownPlaces;
    /// Every status of an undisturbed run behind the disturbed one.
    std::set<UINT> nextStatuses = {0};
};

/// A part of the calls of a run: every `of`-th, from the `index`-th on.
struct Shard {
    std::uint64_t index;
    std::uint64_t of;
};

/// How a call is disturbed.
enum class Disturbance {
    Failure,  ///< it fails in the way that is usual for it
    Stop      ///< the process ends at it, as by a kill or a power cut
};

/// Disturbs each platform call of the action in turn, loading of the library included; one that
/// copies a file once more in its middle, which leaves half of it. The running
/// test fails for each call after which there is a leak, a status that isn't due, or a machine that
/// a following undisturbed run doesn't bring into the state of one that was never disturbed.
/// Gives the number of calls swept.
std::uint64_t sweep(const SweptAction& swept, Disturbance disturbance, const Shard& shard);
