// The actions that are swept, each with the machine it runs on and what a fault may do to it.
#pragma once

#include <memory>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "builders/Product.h"
#include "simulated/machine/Machine.h"

namespace sweep {

/// A difference from the machine of an undisturbed run that may stay for good after a fault.
struct ExpectedDifference {
    std::regex pattern;  ///< matches a whole difference, "- " or "+ " and a line of the description
    std::string reason;  ///< the rule of the library that causes it
};
using ExpectedDifferences = std::vector<ExpectedDifference>;

struct SweptAction {
    std::string name;
    /// Of the session; with "CustomActionData" it is a deferred one.
    family::Texts properties = {};
    std::set<UINT> statuses = {};  ///< every status that the action may return
    /// Found in the description's line of each file and directory that the action may delete.
    std::regex ownFiles = std::regex("^$");
    ExpectedDifferences expected = {};
    ExpectedDifferences expectedAfterFailure = {};  ///< not after a stop of the process
    /// Every status that an undisturbed run may return after the disturbed one.
    std::set<UINT> nextStatuses = {0};
};

const std::vector<SweptAction>& sweptActions();

/// Returns a machine on which the action has everything to do that it can do.
std::unique_ptr<simulated::Machine> makeMachine(const SweptAction& action);

}  // namespace sweep
