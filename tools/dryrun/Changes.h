// What differs between two descriptions, in the groups that a person thinks in.
#pragma once

#include <string>
#include <vector>

#include "dryrun/Json.h"

struct Change {
    std::string group;  ///< "Registry", "Files", "Start menu", "Path", "At the next restart", …
    char sign;          ///< '+', '-' or '~'
    std::string what;
    std::string before;  ///< empty of what is new
    std::string after;   ///< empty of what is gone
};

/// `startMenu` is the folder whose entries are the Start menu's.
std::vector<Change> changesOf(const Json& before, const Json& after, const std::string& startMenu);

/// A name or fact as one line: control characters and what is too long are replaced.
std::string oneLine(const Json& value);
